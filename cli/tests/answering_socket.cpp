#include "answering_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace qel::cli::testing {
namespace {

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + path);
  memcpy(address.sun_path, path.data(), path.size());
  return address;
}

std::string read_request(int fd) {
  std::string text;
  char byte = 0;
  while (text.size() < 1000 && read(fd, &byte, 1) == 1 && byte != '\n') text += byte;
  return text;
}

void send_all(int fd, const std::string& text) {
  size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t count = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) break;
    sent += static_cast<size_t>(count);
  }
}

}  // namespace

UniqueFd listen_at(const std::string& path) {
  const sockaddr_un address = address_of(path);
  UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(fd.get(), 4) != 0) {
    throw std::runtime_error("cannot listen at " + path);
  }
  return fd;
}

AnsweringSocket::AnsweringSocket(const std::string& path, const std::string& answer)
    : AnsweringSocket(path, {{R"({"request":"status"})", answer}}) {}

AnsweringSocket::AnsweringSocket(const std::string& path, const std::vector<Exchange>& exchanges)
    : socket_(listen_at(path)), child_([this, exchanges] { return serve(exchanges); }) {}

int AnsweringSocket::serve(const std::vector<Exchange>& exchanges) const {
  const timeval patience{.tv_sec = 20, .tv_usec = 0};
  (void)setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  int wrong = 0;
  for (const auto& [request, answer] : exchanges) {
    const UniqueFd client(accept(socket_.get(), nullptr, nullptr));
    if (!client) return 2;  // nobody has come
    if (read_request(client.get()) != request) ++wrong;
    send_all(client.get(), answer);
  }
  return wrong == 0 ? 0 : 1;
}

}  // namespace qel::cli::testing

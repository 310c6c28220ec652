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
    : socket_(listen_at(path)), child_([this, answer] { return serve(answer); }) {}

int AnsweringSocket::serve(const std::string& answer) const {
  const UniqueFd client(accept(socket_.get(), nullptr, nullptr));
  const std::string request = read_request(client.get());
  size_t sent = 0;
  while (sent < answer.size()) {
    const ssize_t count =
        send(client.get(), answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) break;
    sent += static_cast<size_t>(count);
  }
  return request == R"({"request":"status"})" ? 0 : 1;
}

}  // namespace qel::cli::testing

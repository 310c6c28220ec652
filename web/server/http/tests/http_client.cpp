#include "http_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "http/text.h"

namespace qel::web_test {

namespace {

constexpr timeval kPatience{30, 0};

UniqueFd connected(int family, const void* address, socklen_t size) {
  UniqueFd fd(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
  if (connect(fd.get(), static_cast<const sockaddr*>(address), size) == 0) return fd;
  return UniqueFd();
}

UniqueFd connected_to_port(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return connected(AF_INET, &address, sizeof address);
}

UniqueFd connected_to_path(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return connected(AF_UNIX, &address, sizeof address);
}

Answer parse_head(const std::string& head) {
  Answer answer;
  bool first = true;
  for (std::string_view line : web::split(head, '\n')) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    const size_t colon = line.find(':');
    if (std::exchange(first, false)) {
      answer.status = line.size() > 12 ? atoi(std::string(line.substr(9, 3)).c_str()) : 0;
    } else if (colon != std::string_view::npos) {
      const std::string name = web::lower_case(line.substr(0, colon));
      answer.headers[name] = web::trim(line.substr(colon + 1));
    }
  }
  return answer;
}

}  // namespace

std::string Answer::header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "" : found->second;
}

HttpClient::HttpClient(int port) : socket_(connected_to_port(port)) {}

HttpClient::HttpClient(const std::string& unix_path) : socket_(connected_to_path(unix_path)) {}

bool HttpClient::send(const std::string& bytes) const {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t result = ::send(fd(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (result <= 0) return false;
    sent += static_cast<size_t>(result);
  }
  return true;
}

bool HttpClient::ask(const std::string& method, const std::string& target,
                     const std::string& headers) const {
  return send(method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
}

bool HttpClient::receive_more() {
  char piece[16384];
  const ssize_t got = recv(fd(), piece, sizeof piece, 0);
  if (got <= 0) return false;
  buffer_.append(piece, static_cast<size_t>(got));
  return true;
}

std::string HttpClient::receive_until(const std::string& text) {
  size_t found = buffer_.find(text);
  while (found == std::string::npos) {
    const size_t before = buffer_.size();
    if (!receive_more()) return std::exchange(buffer_, {});
    found = buffer_.find(text, before < text.size() ? 0 : before - text.size());
  }
  const std::string taken = buffer_.substr(0, found + text.size());
  buffer_.erase(0, taken.size());
  return taken;
}

std::string HttpClient::receive_bytes(size_t count) {
  while (buffer_.size() < count && receive_more()) {
  }
  const std::string taken = buffer_.substr(0, count);
  buffer_.erase(0, taken.size());
  return taken;
}

std::string HttpClient::receive_chunks() {
  std::string body;
  size_t size = 1;
  while (size > 0) {
    size = strtoul(receive_until("\r\n").c_str(), nullptr, 16);
    body += receive_bytes(size);
    receive_until("\r\n");
  }
  return body;
}

Answer HttpClient::receive(bool to_head) {
  Answer answer = parse_head(receive_until("\r\n\r\n"));
  if (to_head || answer.status == 304) return answer;
  if (answer.header("transfer-encoding") == "chunked") {
    answer.body = receive_chunks();
  } else {
    answer.body = receive_bytes(strtoul(answer.header("content-length").c_str(), nullptr, 10));
  }
  return answer;
}

Answer HttpClient::get(const std::string& target, const std::string& headers) {
  return ask("GET", target, headers) ? receive() : Answer();
}

std::string HttpClient::receive_all() {
  while (receive_more()) {
  }
  return std::exchange(buffer_, {});
}

bool HttpClient::is_closed_silently() {
  char byte;
  const ssize_t got = recv(fd(), &byte, 1, 0);
  return buffer_.empty() && (got == 0 || (got < 0 && errno == ECONNRESET));
}

void HttpClient::reset() {
  const linger at_once{1, 0};
  setsockopt(fd(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close();
}

}  // namespace qel::web_test

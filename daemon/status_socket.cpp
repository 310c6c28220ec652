#include "status_socket.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "instance.h"

namespace qel::daemon {

namespace {

constexpr size_t kClientsMax = 16;
constexpr size_t kRequestMax = 4096;         // bytes of a request line
constexpr uint64_t kPatienceUsec = 5000000;  // for a client to ask and to take its answer

std::string error_answer(const std::string& text) {
  return nlohmann::json{{"error", text}}.dump(-1, ' ', false,
                                              nlohmann::json::error_handler_t::replace) +
         "\n";
}

bool fill_address(const std::string& path, sockaddr_un* address) {
  *address = {};
  address->sun_family = AF_UNIX;
  if (path.size() >= sizeof address->sun_path) return false;
  memcpy(address->sun_path, path.c_str(), path.size() + 1);
  return true;
}

// A bound and listening socket, or -1 with errno.
int open_listener(const std::string& path) {
  sockaddr_un address;
  if (!fill_address(path, &address)) {
    errno = ENAMETOOLONG;
    return -1;
  }
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  unlink(path.c_str());
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      chmod(path.c_str(), 0660) == 0 && ::listen(fd, static_cast<int>(kClientsMax)) == 0) {
    return fd;
  }
  const int failure = errno;
  close(fd);
  errno = failure;
  return -1;
}

}  // namespace

StatusSocket::~StatusSocket() {
  if (listener_ != nullptr) unlink(path_.c_str());
}

bool StatusSocket::listen(sd_event* event, const std::string& path, std::string* error) {
  if (!make_parent_directory(path, error)) return false;
  const int fd = open_listener(path);
  if (fd < 0) {
    *error = "the socket " + path + " cannot be opened: " + strerror(errno);
    return false;
  }
  sd_event_source* source = nullptr;
  const int result = sd_event_add_io(event, &source, fd, EPOLLIN, on_connection, this);
  if (result < 0) {
    close(fd);
    *error = "the socket " + path + " cannot be watched: " + strerror(-result);
    return false;
  }
  sd_event_source_set_io_fd_own(source, 1);
  listener_.reset(source);
  path_ = path;
  event_ = event;
  return true;
}

int StatusSocket::on_connection(sd_event_source*, int fd, uint32_t, void* self) {
  const int client = accept4(fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (client >= 0) static_cast<StatusSocket*>(self)->add_client(client);
  return 0;
}

void StatusSocket::add_client(int fd) {
  if (clients_.size() >= kClientsMax) {
    close(fd);
    return;
  }
  clients_.emplace_back();
  Client* client = &clients_.back();
  client->owner = this;
  sd_event_source* io = nullptr;
  sd_event_source* timeout = nullptr;
  if (sd_event_add_io(event_, &io, fd, EPOLLIN, on_client, client) < 0) {
    close(fd);
    clients_.pop_back();
    return;
  }
  sd_event_source_set_io_fd_own(io, 1);
  client->io.reset(io);
  if (sd_event_add_time_relative(event_, &timeout, CLOCK_MONOTONIC, kPatienceUsec, 0, on_timeout,
                                 client) < 0) {
    drop(client);
    return;
  }
  client->timeout.reset(timeout);
}

void StatusSocket::drop(Client* client) {
  clients_.remove_if([client](const Client& other) { return &other == client; });
}

int StatusSocket::on_timeout(sd_event_source*, uint64_t, void* client) {
  auto* dropped = static_cast<Client*>(client);
  dropped->owner->drop(dropped);
  return 0;
}

int StatusSocket::on_client(sd_event_source*, int fd, uint32_t, void* data) {
  auto* client = static_cast<Client*>(data);
  StatusSocket* owner = client->owner;
  const bool going =
      client->answer.empty() ? owner->receive(client, fd) : owner->send_answer(client, fd);
  if (!going) owner->drop(client);
  return 0;
}

// False when the connection is done with.
bool StatusSocket::receive(Client* client, int fd) {
  char data[1024];
  const ssize_t got = recv(fd, data, sizeof data, 0);
  if (got < 0) return errno == EAGAIN || errno == EINTR;
  if (got == 0) return false;
  client->request.append(data, static_cast<size_t>(got));
  const size_t end = client->request.find('\n');
  if (end == std::string::npos && client->request.size() <= kRequestMax) return true;
  client->answer = end == std::string::npos ? error_answer("the request is too long")
                                            : answer_to(client->request.substr(0, end));
  return send_answer(client, fd);
}

bool StatusSocket::send_answer(Client* client, int fd) {
  const ssize_t sent = send(fd, client->answer.data(), client->answer.size(), MSG_NOSIGNAL);
  if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
  if (sent > 0) client->answer.erase(0, static_cast<size_t>(sent));
  if (client->answer.empty()) return false;
  return sd_event_source_set_io_events(client->io.get(), EPOLLOUT) >= 0;
}

std::string StatusSocket::answer_to(const std::string& request) const {
  const auto parsed = nlohmann::json::parse(request, nullptr, false);
  if (parsed.is_discarded() || !parsed.is_object() || !parsed.contains("request")) {
    return error_answer("the request is not an object with the member \"request\"");
  }
  const nlohmann::json& name = parsed["request"];
  const auto answer = name.is_string() ? answers_.find(name.get<std::string>()) : answers_.end();
  if (answer != answers_.end()) return answer->second(parsed);
  return error_answer("unknown request " +
                      name.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace qel::daemon

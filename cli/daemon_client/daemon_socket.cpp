#include "daemon_client/daemon_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>

#include "alerts/daemon_answer.h"
#include "common/unique_fd.h"

namespace qel::cli {
namespace {

// A busy daemon answers in milliseconds; a stuck one must not hang a script.
constexpr std::chrono::seconds kAnswerTime{5};

NotReachable not_reachable(const std::string& path, int error) {
  const bool stopped = error == ENOENT || error == ECONNREFUSED;
  const std::string text =
      stopped ? "the alert daemon is not running" : "the alert daemon cannot be reached";
  return {with_errno(text + ": " + path, error), stopped};
}

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const size_t limit = sizeof address.sun_path - 1;
  if (path.size() > limit) {
    throw Failure(kFailed, "the path of the alert daemon's socket is too long (at most " +
                               std::to_string(limit) + " bytes): " + path);
  }
  memcpy(address.sun_path, path.data(), path.size());
  return address;
}

void set_time_limit(int fd) {
  const timeval limit{.tv_sec = kAnswerTime.count(), .tv_usec = 0};
  (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

UniqueFd connect_to(const std::string& path) {
  const sockaddr_un address = address_of(path);
  UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd) throw Failure(kFailed, with_errno("cannot make a socket", errno));
  set_time_limit(fd.get());
  if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw not_reachable(path, errno);
  }
  return fd;
}

// Waits until there is something to read, or fails when the time is up.
void wait_readable(int fd, const std::string& path, std::chrono::steady_clock::time_point end) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  pollfd wait{.fd = fd, .events = POLLIN, .revents = 0};
  const int ready = left.count() > 0 ? poll(&wait, 1, static_cast<int>(left.count())) : 0;
  if (ready < 0 && errno != EINTR) throw not_reachable(path, errno);
  if (ready == 0) throw not_reachable(path, ETIMEDOUT);
}

std::string read_answer_line(int fd, const std::string& path) {
  const auto end = std::chrono::steady_clock::now() + kAnswerTime;
  std::string line;
  while (line.size() < kDaemonAnswerMax) {
    wait_readable(fd, path, end);
    char piece[4096];
    const ssize_t count = recv(fd, piece, sizeof piece, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (count < 0) throw not_reachable(path, errno);
    line.append(piece, static_cast<size_t>(count));
    const size_t line_end = line.find('\n');
    if (line_end != std::string::npos) line.resize(line_end);
    if (count == 0 || line_end != std::string::npos) return line;
  }
  return line;
}

}  // namespace

Json ask_daemon(const std::string& socket_path, const Json& request) {
  const UniqueFd fd = connect_to(socket_path);
  const std::string line = json_line(request);
  const ssize_t sent = send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(line.size())) throw not_reachable(socket_path, errno);
  const std::string text = read_answer_line(fd.get(), socket_path);
  // A daemon with too many clients hangs up at once.
  if (text.empty()) throw not_reachable(socket_path, ECONNRESET);
  std::optional<Json> answer = parse_daemon_answer(text);
  if (!answer.has_value()) {
    throw Failure(kFailed, "the alert daemon's answer is not understood: " + socket_path);
  }
  const auto error = answer->find("error");
  if (error != answer->end()) {
    throw Failure(kFailed, "the alert daemon refuses the request: " +
                               error->dump(-1, ' ', false, Json::error_handler_t::replace));
  }
  return *answer;
}

}  // namespace qel::cli

#include "daemon_link.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "alerts/daemon_answer.h"
#include "alerts/failure.h"

namespace qel::web {
namespace {

constexpr uint64_t kEvery_us = 5'000'000;  // also how long an answer may take
constexpr std::chrono::seconds kYoung{1};
constexpr std::string_view kRequest = "{\"request\":\"status\"}\n";

}  // namespace

DaemonLink::DaemonLink(sd_event* event, std::string socket_path)
    : event_(event), path_(std::move(socket_path)), cause_("it has not answered yet") {
  sd_event_source* source = nullptr;
  if (sd_event_add_time_relative(event_, &source, CLOCK_MONOTONIC, kEvery_us, 0, on_time, this) >=
      0) {
    clock_.reset(source);
  }
  begin();
}

void DaemonLink::ask() {
  if (!socket_ && std::chrono::steady_clock::now() - asked_ >= kYoung) begin();
}

int DaemonLink::on_time(sd_event_source* source, uint64_t, void* self) {
  auto* const link = static_cast<DaemonLink*>(self);
  if (link->socket_) link->fail("it does not answer: " + link->path_);
  link->begin();
  sd_event_source_set_time_relative(source, kEvery_us);
  sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
  return 0;
}

int DaemonLink::on_ready(sd_event_source*, int, uint32_t, void* self) {
  static_cast<DaemonLink*>(self)->receive();
  return 0;
}

// The request is so short that it fits into any socket's buffer.
void DaemonLink::begin() {
  asked_ = std::chrono::steady_clock::now();
  answer_.clear();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return fail("its socket's path is too long");
  memcpy(address.sun_path, path_.data(), path_.size());
  socket_ = UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_ ||
      connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      send(socket_.get(), kRequest.data(), kRequest.size(), MSG_NOSIGNAL) < 0) {
    const bool stopped = errno == ENOENT || errno == ECONNREFUSED;
    return fail(
        with_errno((stopped ? "it is not running: " : "it cannot be asked: ") + path_, errno));
  }
  sd_event_source* source = nullptr;
  if (sd_event_add_io(event_, &source, socket_.get(), EPOLLIN, on_ready, this) < 0) {
    return fail("the event loop takes no further socket");
  }
  io_.reset(source);
}

void DaemonLink::receive() {
  char piece[16384];
  ssize_t count;
  while ((count = recv(socket_.get(), piece, sizeof piece, 0)) > 0) {
    answer_.append(piece, static_cast<size_t>(count));
    if (answer_.size() > kDaemonAnswerMax) return fail("its answer is too long");
    if (answer_.ends_with('\n')) return finish();
  }
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  fail(count == 0 ? "it closed the connection without an answer" : with_errno(path_, errno));
}

void DaemonLink::finish() {
  std::optional<Json> answer = parse_daemon_answer(answer_);
  if (!answer.has_value() || answer->contains("error")) return fail("its answer is not understood");
  status_ = std::move(*answer);
  answered_ = Clock::now();
  cause_.clear();
  close();
}

void DaemonLink::fail(const std::string& cause) {
  cause_ = cause;
  close();
}

void DaemonLink::close() {
  io_.reset();
  socket_ = UniqueFd();
}

}  // namespace qel::web

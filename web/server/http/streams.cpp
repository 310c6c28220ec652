#include "streams.h"

#include <poll.h>
#include <sys/epoll.h>

#include <cstring>
#include <exception>
#include <stdexcept>

namespace qel::web {

namespace {

constexpr std::string_view kComment = ": ping\n\n";
constexpr size_t kBlockSize = 4096;

uint64_t microseconds(std::chrono::milliseconds time) {
  return static_cast<uint64_t>(std::chrono::microseconds(time).count());
}

int socket_of(MHD_Connection* connection) {
  return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

// A write after the client's end would not fail at once.
bool client_has_gone(MHD_Connection* connection) {
  pollfd socket{socket_of(connection), POLLRDHUP, 0};
  return poll(&socket, 1, 0) != 0;
}

}  // namespace

Streams::Streams(sd_event* event, std::chrono::milliseconds comment_interval, Log log,
                 std::function<void()> woken)
    : event_(event),
      comment_interval_(comment_interval),
      log_(std::move(log)),
      woken_(std::move(woken)) {
  sd_event_source* timer = nullptr;
  const int result = sd_event_add_time_relative(
      event, &timer, CLOCK_MONOTONIC, microseconds(comment_interval_), 0, on_comment_time, this);
  if (result < 0) throw std::runtime_error(std::string("no timer: ") + strerror(-result));
  comment_timer_.reset(timer);
  sd_event_source_set_enabled(timer, SD_EVENT_ON);
}

MHD_Response* Streams::open(MHD_Connection* connection, std::unique_ptr<StreamSource> source) {
  streams_.push_front({this, connection, std::move(source)});
  Stream& stream = streams_.front();
  stream.place = streams_.begin();
  MHD_Response* response =
      MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlockSize, on_read, &stream, on_end);
  if (response == nullptr) streams_.pop_front();
  return response;
}

void Streams::wake() {
  for (Stream& stream : streams_) resume(stream);
  woken_();
}

// libmicrohttpd does not watch a connection that is suspended.
void Streams::suspend(Stream& stream) {
  sd_event_source* hangup = stream.hangup.get();
  if (hangup != nullptr) {
    sd_event_source_set_enabled(hangup, SD_EVENT_ONESHOT);
  } else if (sd_event_add_io(event_, &hangup, socket_of(stream.connection), EPOLLRDHUP, on_hangup,
                             &stream) >= 0) {
    stream.hangup.reset(hangup);
    sd_event_source_set_enabled(hangup, SD_EVENT_ONESHOT);
  }
  stream.suspended = true;
  MHD_suspend_connection(stream.connection);
}

void Streams::resume(Stream& stream) {
  if (!stream.suspended) return;
  stream.suspended = false;
  MHD_resume_connection(stream.connection);
}

int Streams::on_hangup(sd_event_source*, int, uint32_t, void* data) {
  auto* stream = static_cast<Stream*>(data);
  stream->owner->resume(*stream);
  stream->owner->woken_();
  return 0;
}

int Streams::on_comment_time(sd_event_source* timer, uint64_t, void* self) {
  auto* streams = static_cast<Streams*>(self);
  for (Stream& stream : streams->streams_) stream.wants_comment = true;
  streams->wake();
  return sd_event_source_set_time_relative(timer, microseconds(streams->comment_interval_));
}

ssize_t Streams::on_read(void* data, uint64_t, char* buffer, size_t size) {
  auto* stream = static_cast<Stream*>(data);
  try {
    return stream->owner->read(*stream, buffer, size);
  } catch (const std::exception& exception) {
    stream->owner->log_(std::string("a stream ends: ") + exception.what());
    return MHD_CONTENT_READER_END_WITH_ERROR;
  }
}

void Streams::on_end(void* data) {
  auto* stream = static_cast<Stream*>(data);
  stream->owner->streams_.erase(stream->place);
}

ssize_t Streams::read(Stream& stream, char* buffer, size_t size) {
  if (client_has_gone(stream.connection)) return MHD_CONTENT_READER_END_WITH_ERROR;
  std::string text = stream.source->take(size);
  if (text.empty() && stream.wants_comment) text = kComment;
  stream.wants_comment = false;
  if (text.size() > size) throw std::length_error("its source gave more than was asked for");
  if (text.empty()) suspend(stream);
  return static_cast<ssize_t>(text.copy(buffer, size));
}

}  // namespace qel::web

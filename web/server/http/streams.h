// The open streams of a server.
#pragma once

#include <microhttpd.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "daemon/event_loop.h"
#include "message.h"

namespace qel::web {

using Log = std::function<void(const std::string&)>;

// A stream whose source has nothing for now is suspended: nobody asks it until it is woken or its
// client goes. Every now and then each one gets a comment, which keeps the connection.
class Streams {
 public:
  // `woken` is called after each wake: those who serve the streams have to run.
  Streams(sd_event* event, std::chrono::milliseconds comment_interval, Log log,
          std::function<void()> woken);
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;

  // The answer that sends what the source gives on this connection; null when there is no memory.
  MHD_Response* open(MHD_Connection* connection, std::unique_ptr<StreamSource> source);

  // Lets every source be asked again. What is suspended must be woken before its server ends.
  void wake();

  size_t count() const { return streams_.size(); }

 private:
  struct Stream {
    Streams* owner;
    MHD_Connection* connection;
    std::unique_ptr<StreamSource> source;
    bool suspended = false;
    bool wants_comment = false;
    daemon::Source hangup{};  // while it is suspended
    std::list<Stream>::iterator place{};
  };

  static int on_hangup(sd_event_source*, int, uint32_t, void* stream);
  static int on_comment_time(sd_event_source* timer, uint64_t, void* self);
  static ssize_t on_read(void* stream, uint64_t, char* buffer, size_t size);
  static void on_end(void* stream);

  ssize_t read(Stream& stream, char* buffer, size_t size);
  void suspend(Stream& stream);
  void resume(Stream& stream);

  sd_event* event_;
  std::chrono::milliseconds comment_interval_;
  Log log_;
  std::function<void()> woken_;
  std::list<Stream> streams_;
  daemon::Source comment_timer_;
};

}  // namespace qel::web

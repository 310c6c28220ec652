// One listening socket with its connections on an event loop.
#pragma once

#include <microhttpd.h>

#include <functional>
#include <string>

#include "certificate.h"
#include "daemon/event_loop.h"
#include "message.h"
#include "server_limits.h"
#include "streams.h"
#include "unique_fd.h"

namespace qel::web {

// A request as it came, before anybody found it right.
struct Incoming {
  Request request;
  bool target_is_valid;  // else the request has neither path nor parameters
  bool has_body;         // which nobody reads
};

class Port {
 public:
  using Answer = std::function<Response(const Incoming&)>;

  // An exception out of `answer` goes to `log` and becomes an answer. Log and streams outlive this
  // object.
  Port(Answer answer, Streams& streams, const Log& log);
  ~Port();
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  // With TLS when there is a certificate. False with the reason in *error.
  bool open(sd_event* event, UniqueFd socket, const Limits& limits, const Certificate* certificate,
            std::string* error);

  // Lets connections that were resumed go on.
  void run_soon();

 private:
  struct Exchange;

  static void on_connection(void*, MHD_Connection*, void** exchange,
                            MHD_ConnectionNotificationCode what);
  static void* on_target(void*, const char* target, MHD_Connection* connection);
  static MHD_Result on_request(void* self, MHD_Connection* connection, const char*,
                               const char* method, const char*, const char*, size_t*,
                               void** exchange);
  static int on_activity(sd_event_source*, int, uint32_t, void* self);
  static int on_timeout(sd_event_source*, uint64_t, void* self);

  bool start(UniqueFd socket, const Limits& limits, const Certificate* certificate);
  bool watch(sd_event* event, std::string* error);
  void run();
  void run_in(uint64_t milliseconds);
  MHD_Result reply(MHD_Connection* connection, const Incoming& incoming);
  MHD_Result send(MHD_Connection* connection, const Incoming& incoming, Response response);

  Answer answer_;
  Streams& streams_;
  const Log& log_;
  MHD_Daemon* http_ = nullptr;
  daemon::Source activity_;
  daemon::Source timeout_;
};

}  // namespace qel::web

// The running front end: the log, the daemon, the sockets and what moves them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alert_event.h"
#include "alerts/session.h"
#include "api.h"
#include "daemon_link.h"
#include "http/listen.h"
#include "http/server.h"
#include "log_view.h"
#include "settings.h"

namespace qel::web {

class FrontEnd {
 public:
  // Throws a Failure that tells why it cannot start. `page`: the directory of the page.
  FrontEnd(const WebSettings& settings, const std::string& page);
  ~FrontEnd();
  FrontEnd(const FrontEnd&) = delete;
  FrontEnd& operator=(const FrontEnd&) = delete;

  // Serves until a signal ends it; the exit status.
  int run();

 private:
  static int on_bell(sd_event_source*, int, uint32_t, void* self);
  static int on_second(sd_event_source*, uint64_t, void* self);
  static int on_reading_due(sd_event_source*, uint64_t, void* self);
  static int on_news(sd_event_source*, void* self);

  void add_sources();
  void listen(const WebSettings& settings);
  void serve(UniqueFd socket, bool with_tls);
  Response answer(const Request& request);
  void read_soon();
  void read_now();
  void tell_news();

  Session session_;
  daemon::Event event_;
  LogView view_;
  DaemonLink daemon_;
  AlertEvent alert_event_;
  StaticFiles page_;
  Api api_;
  std::vector<SocketFile> socket_files_;
  std::unique_ptr<HttpServer> server_;
  daemon::Source bell_;
  daemon::Source second_;
  daemon::Source reading_due_;
  daemon::Source news_;
  uint64_t told_;  // events before this one were told to the streams
};

}  // namespace qel::web

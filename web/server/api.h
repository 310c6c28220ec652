// The HTTP API: which path is answered how. openapi.json describes it to its users.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "alert_forms.h"
#include "daemon_link.h"
#include "http/message.h"
#include "http/static_files.h"
#include "log_view.h"
#include "metrics.h"

namespace qel::web {

class Api {
 public:
  struct Parts {
    LogView* view;
    DaemonLink* daemon;
    const StaticFiles* page;
    std::string openapi;                     // the document
    std::function<size_t()> stream_count{};  // streams that are open
  };

  explicit Api(Parts parts) : parts_(std::move(parts)) {}

  // Answers a GET; a request that is wrong, too. Looks at the log where the answer depends on it.
  Response answer(const Request& request);

  Counters& counters() { return counters_; }

 private:
  using Method = Response (Api::*)(const Request& request);
  struct Route {
    std::string_view path;
    Method method;
  };
  static const Route kRoutes[];

  Response route(const Request& request);
  Response alerts(const Request& request);
  Response one_alert(const Request& request);
  Response latest(const Request& request);
  Response recent(const Request& request);
  Response facets(const Request& request);
  Response histogram(const Request& request);
  Response stream(const Request& request);
  Response status(const Request& request);
  Response openapi(const Request& request);
  Response metrics(const Request& request);
  Response healthy(const Request& request);
  Response ready(const Request& request);

  void need_log();

  Parts parts_;
  Counters counters_;
  std::shared_ptr<const char> exports_ = std::make_shared<const char>();  // each export has a share
};

}  // namespace qel::web

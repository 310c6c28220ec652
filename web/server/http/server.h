// HTTP on an event loop: what is between the sockets and a function from requests to answers.
#pragma once

#include <systemd/sd-event.h>

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "certificate.h"
#include "gate.h"
#include "message.h"
#include "server_limits.h"
#include "unique_fd.h"

namespace qel::web {

struct Incoming;
class Port;
class Streams;

// Lets this process have as many descriptors as it may have at all: each connection takes one.
void raise_descriptor_limit();

// Gets requests with the method GET or HEAD and without a body; the body of an answer to HEAD is
// made like that to GET and not sent. An exception becomes an answer, too.
using Handler = std::function<Response(const Request&)>;

struct Options {
  Limits limits{};
  GateOptions gate{};
  std::optional<Certificate> certificate{};
  // Gets what went wrong inside, with bytes of requests as they came; may be empty.
  std::function<void(const std::string&)> log{};
};

class HttpServer {
 public:
  enum class Kind { kPlain, kTls };

  // The event loop must outlive it and be run by the thread that calls this object.
  HttpServer(sd_event* event, Handler handler, Options options);
  // Closes all connections and frees all streams.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Serves a listening socket, kTls with the certificate of the options. False with the reason in
  // *error.
  bool listen(UniqueFd socket, Kind kind, std::string* error);

  // Lets every stream be asked again.
  void wake_streams();

  size_t stream_count() const;

 private:
  Response answer(const Incoming& incoming);
  Response handle(const Request& request);

  sd_event* event_;
  Handler handler_;
  Options options_;
  Gate gate_;
  std::unique_ptr<Streams> streams_;
  std::list<std::unique_ptr<Port>> ports_;  // go before the streams, which their connections use
};

}  // namespace qel::web

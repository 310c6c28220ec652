#include "server.h"

#include <sys/resource.h>

#include <utility>

#include "listen.h"
#include "port.h"
#include "problem.h"
#include "streams.h"

namespace qel::web {

namespace {

constexpr unsigned kStreamRetrySeconds = 5;

Options with_log(Options options) {
  if (!options.log) options.log = [](const std::string&) {};
  return options;
}

}  // namespace

void raise_descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

HttpServer::HttpServer(sd_event* event, Handler handler, Options options)
    : event_(event),
      handler_(std::move(handler)),
      options_(with_log(std::move(options))),
      gate_(options_.gate),
      streams_(
          std::make_unique<Streams>(event, options_.limits.comment_interval, options_.log, [this] {
            for (auto& port : ports_) port->run_soon();
          })) {}

HttpServer::~HttpServer() { wake_streams(); }

bool HttpServer::listen(UniqueFd socket, Kind kind, std::string* error) {
  const std::string where = listening_at(socket.get());
  if (kind == Kind::kTls && !options_.certificate) {
    *error = "TLS at " + where + " needs a certificate";
    return false;
  }
  auto port = std::make_unique<Port>([this](const Incoming& incoming) { return answer(incoming); },
                                     *streams_, options_.log);
  const Certificate* certificate = kind == Kind::kTls ? &*options_.certificate : nullptr;
  if (!port->open(event_, std::move(socket), options_.limits, certificate, error)) {
    *error = where + ": " + *error;
    return false;
  }
  ports_.push_back(std::move(port));
  return true;
}

void HttpServer::wake_streams() { streams_->wake(); }

size_t HttpServer::stream_count() const { return streams_->count(); }

Response HttpServer::answer(const Incoming& incoming) {
  const Request& request = incoming.request;
  if (auto refusal = gate_.refuse(request, std::chrono::steady_clock::now())) {
    return std::move(*refusal);
  }
  if (request.method != "GET" && !is_head(request)) {
    Response response = problem(Problem::kMethodNotAllowed, "there are only GET and HEAD");
    response.headers.emplace_back("Allow", "GET, HEAD");
    return response;
  }
  if (incoming.has_body) return problem(Problem::kTooLarge, "a request has no body here");
  if (!incoming.target_is_valid) {
    return problem(Problem::kBadRequest, "what is asked for is no path or is encoded wrongly");
  }
  return handle(request);
}

Response HttpServer::handle(const Request& request) {
  Response response = handler_(request);
  if (response.stream == nullptr || is_head(request)) return response;
  if (streams_->count() < options_.limits.streams) return response;
  return problem_for_now(Problem::kTooManyStreams, "too many streams are open",
                         kStreamRetrySeconds);
}

}  // namespace qel::web

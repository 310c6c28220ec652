#include "port.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "address.h"
#include "problem.h"
#include "reply.h"
#include "target.h"
#include "text.h"

namespace qel::web {

namespace {

// libmicrohttpd often asks to run again at once.
constexpr uint64_t kAccuracyUsec = 1;
// Some things it sees only when it runs, and does not ask to run for them: that there is a place
// for another connection, or that one is to end.
constexpr MHD_UNSIGNED_LONG_LONG kPauseMax_ms = 1000;
constexpr const char* kTlsPriorities = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

MHD_Result add_header(void* headers, MHD_ValueKind, const char* name, size_t name_size,
                      const char* value, size_t value_size) {
  static_cast<std::vector<NamedText>*>(headers)->emplace_back(
      std::string(name, name_size),
      std::string(trim(value == nullptr ? "" : std::string_view(value, value_size))));
  return MHD_YES;
}

std::string client_of(MHD_Connection* connection) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  return host_text(info->client_addr);
}

bool announces_body(const NamedText& header) {
  const auto& [name, value] = header;
  return same_but_for_case(name, "Transfer-Encoding") ||
         (same_but_for_case(name, "Content-Length") && value != "0");
}

Incoming read_request(MHD_Connection* connection, const char* method, const std::string& text) {
  auto target = parse_target(text);
  Incoming incoming{.request = {}, .target_is_valid = target.has_value(), .has_body = false};
  Request& request = incoming.request;
  request.method = method;
  request.client = client_of(connection);
  if (target) {
    request.path = std::move(target->path);
    request.parameters = std::move(target->parameters);
  }
  MHD_get_connection_values_n(connection, MHD_HEADER_KIND, add_header, &request.headers);
  incoming.has_body = std::any_of(request.headers.begin(), request.headers.end(), announces_body);
  return incoming;
}

}  // namespace

// The request of a connection. It is the connection's because not every request that begins has an
// end of which anybody is told.
struct Port::Exchange {
  std::string target{};  // as it came: libmicrohttpd would cut it at an encoded NUL
  std::optional<Incoming> incoming{};
};

Port::Port(Answer answer, Streams& streams, const Log& log)
    : answer_(std::move(answer)), streams_(streams), log_(log) {}

Port::~Port() {
  activity_.reset();  // its descriptor is about to be closed
  if (http_ != nullptr) MHD_stop_daemon(http_);
}

bool Port::open(sd_event* event, UniqueFd socket, const Limits& limits,
                const Certificate* certificate, std::string* error) {
  if (start(std::move(socket), limits, certificate)) return watch(event, error);
  *error = std::string("HTTP cannot be served: ") + strerror(errno);
  return false;
}

bool Port::start(UniqueFd socket, const Limits& limits, const Certificate* certificate) {
  const auto text = [](const std::string& pem) { return const_cast<char*>(pem.c_str()); };
  std::vector<MHD_OptionItem> options;
  unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME;
  if (certificate != nullptr) {
    flags |= MHD_USE_TLS;
    options.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, text(certificate->chain)});
    options.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, text(certificate->key)});
    options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(kTlsPriorities)});
  }
  options.push_back({MHD_OPTION_END, 0, nullptr});
  // libmicrohttpd closes its descriptor also when it fails.
  const int own = fcntl(socket.get(), F_DUPFD_CLOEXEC, 0);
  if (own < 0) return false;
  // clang-format off
  http_ = MHD_start_daemon(
      flags, 0, nullptr, nullptr, on_request, this,
      MHD_OPTION_LISTEN_SOCKET, own,
      MHD_OPTION_CONNECTION_LIMIT, limits.connections,
      MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits.connections_per_address,
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, limits.head_bytes,
      MHD_OPTION_CONNECTION_TIMEOUT, limits.idle_seconds,
      MHD_OPTION_URI_LOG_CALLBACK, on_target, nullptr,
      MHD_OPTION_NOTIFY_CONNECTION, on_connection, nullptr,
      MHD_OPTION_ARRAY, options.data(),
      MHD_OPTION_END);
  // clang-format on
  return http_ != nullptr;
}

bool Port::watch(sd_event* event, std::string* error) {
  const int fd = MHD_get_daemon_info(http_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
  sd_event_source* activity = nullptr;
  sd_event_source* timeout = nullptr;
  const int watched = sd_event_add_io(event, &activity, fd, EPOLLIN, on_activity, this);
  activity_.reset(activity);
  const int timed = sd_event_add_time_relative(event, &timeout, CLOCK_MONOTONIC, 0, kAccuracyUsec,
                                               on_timeout, this);
  timeout_.reset(timeout);
  if (watched >= 0 && timed >= 0) return true;
  *error = std::string("HTTP cannot be watched: ") + strerror(-std::min(watched, timed));
  return false;
}

int Port::on_activity(sd_event_source*, int, uint32_t, void* self) {
  static_cast<Port*>(self)->run();
  return 0;
}

int Port::on_timeout(sd_event_source*, uint64_t, void* self) {
  static_cast<Port*>(self)->run();
  return 0;
}

void Port::run() {
  MHD_run(http_);
  MHD_UNSIGNED_LONG_LONG milliseconds = 0;
  const bool waits = MHD_get_timeout(http_, &milliseconds) == MHD_YES;
  run_in(waits ? std::min(milliseconds, kPauseMax_ms) : kPauseMax_ms);
}

void Port::run_soon() { run_in(0); }

void Port::run_in(uint64_t milliseconds) {
  sd_event_source_set_time_relative(timeout_.get(), milliseconds * 1000);
  sd_event_source_set_enabled(timeout_.get(), SD_EVENT_ONESHOT);
}

void Port::on_connection(void*, MHD_Connection*, void** exchange,
                         MHD_ConnectionNotificationCode what) {
  if (what == MHD_CONNECTION_NOTIFY_STARTED) {
    *exchange = new Exchange;
  } else {
    delete static_cast<Exchange*>(*exchange);
  }
}

void* Port::on_target(void*, const char* target, MHD_Connection* connection) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  auto* exchange = static_cast<Exchange*>(info->socket_context);
  *exchange = {.target = target == nullptr ? "" : target};
  return exchange;
}

// Called first when the headers are there, and again when the request is whole. A body is not
// waited for: the first call answers then, which makes the connection unfit for another request.
MHD_Result Port::on_request(void* self, MHD_Connection* connection, const char*, const char* method,
                            const char*, const char*, size_t*, void** data) {
  auto* exchange = static_cast<Exchange*>(*data);
  const bool is_whole = exchange->incoming.has_value();
  if (!is_whole) exchange->incoming = read_request(connection, method, exchange->target);
  if (!is_whole && !exchange->incoming->has_body) return MHD_YES;
  const Incoming incoming = std::move(*exchange->incoming);
  *exchange = {};
  return static_cast<Port*>(self)->reply(connection, incoming);
}

MHD_Result Port::reply(MHD_Connection* connection, const Incoming& incoming) {
  try {
    return send(connection, incoming, answer_(incoming));
  } catch (const std::exception& exception) {
    log_(incoming.request.method + " of " + incoming.request.path + " failed: " + exception.what());
    return send(connection, incoming,
                problem(Problem::kInternalError, "the fault is the server's, whose log tells it"));
  }
}

MHD_Result Port::send(MHD_Connection* connection, const Incoming& incoming, Response response) {
  const auto status = static_cast<unsigned>(response.status);
  const bool to_head = is_head(incoming.request);
  const Reply reply = to_head ? make_reply_to_head(std::move(response))
                              : make_reply(std::move(response), connection, streams_, log_);
  return MHD_queue_response(connection, status, reply.get());
}

}  // namespace qel::web

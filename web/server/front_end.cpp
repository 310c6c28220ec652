#include "front_end.h"

#include <sys/epoll.h>
#include <systemd/sd-daemon.h>
#include <time.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "alerts/failure.h"
#include "openapi.h"
#include "search.h"

namespace qel::web {
namespace {

constexpr uint64_t kSecond_us = 1'000'000;

daemon::Event event_loop() {
  daemon::Event event = daemon::make_event_loop();
  if (event == nullptr) throw Failure(kFailed, with_errno("cannot make an event loop", errno));
  return event;
}

StaticFiles load_page(const std::string& directory) {
  std::string error;
  std::optional<StaticFiles> files = StaticFiles::load(directory, &error);
  if (!files.has_value()) throw Failure(kFailed, error);
  return std::move(*files);
}

Options options_of(const WebSettings& settings) {
  Options options;
  std::string error;
  options.gate.names = own_host_names();
  options.gate.names.insert(options.gate.names.end(), settings.names.begin(), settings.names.end());
  if (!settings.certificate.empty()) {
    options.certificate = read_certificate(settings.certificate, settings.key, &error);
    if (!options.certificate.has_value()) throw Failure(kFailed, error);
  }
  if (!settings.users.empty()) {
    std::optional<Users> users = Users::load(settings.users, &error);
    if (!users.has_value()) throw Failure(kFailed, error);
    options.gate.users = std::make_shared<Users>(std::move(*users));
  }
  options.log = [](const std::string& text) { message(text); };
  return options;
}

void check(int result, const char* what) {
  if (result < 0) throw Failure(kFailed, with_errno(what, -result));
}

}  // namespace

FrontEnd::FrontEnd(const WebSettings& settings, const std::string& page)
    : event_(event_loop()),
      daemon_(event_.get(), settings.daemon_socket),
      page_(load_page(page)),
      api_({.view = &view_,
            .daemon = &daemon_,
            .page = &page_,
            .openapi = kOpenapi,
            .stream_count = [this] { return server_->stream_count(); }}),
      server_(std::make_unique<HttpServer>(
          event_.get(), [this](const Request& request) { return answer(request); },
          options_of(settings))),
      told_(view_.next_event()) {
  add_sources();
  listen(settings);
}

FrontEnd::~FrontEnd() = default;

void FrontEnd::add_sources() {
  sd_event* const event = event_.get();
  sd_event_source* source = nullptr;
  check(sd_event_add_signal(event, nullptr, SIGTERM, nullptr, nullptr), "SIGTERM");
  check(sd_event_add_signal(event, nullptr, SIGINT, nullptr, nullptr), "SIGINT");
  check(sd_event_add_io(event, &source, alert_event_.fd(), EPOLLIN, on_bell, this), "epoll");
  bell_.reset(source);
  check(sd_event_add_time_relative(event, &source, CLOCK_MONOTONIC, kSecond_us, 0, on_second, this),
        "timer");
  second_.reset(source);
  check(sd_event_add_time_relative(event, &source, CLOCK_MONOTONIC, 0, 1, on_reading_due, this),
        "timer");
  reading_due_.reset(source);
  check(sd_event_add_defer(event, &source, on_news, this), "event");
  news_.reset(source);
  check(sd_event_set_watchdog(event, 1), "watchdog");
}

// The sockets that systemd hands over stand for the configured Unix socket.
void FrontEnd::listen(const WebSettings& settings) {
  std::string error;
  std::optional<std::vector<UniqueFd>> given = sockets_handed_over(&error);
  if (!given.has_value()) throw Failure(kFailed, error);
  UniqueFd at_address = listen_at_address(settings.listen, &error);
  if (!at_address) throw Failure(kFailed, error);
  const bool with_tls = !settings.certificate.empty();
  printf("qelalert-web: listening on %s://%s\n", with_tls ? "https" : "http",
         listening_at(at_address.get()).c_str());
  serve(std::move(at_address), with_tls);
  if (given->empty()) {
    std::optional<UnixListener> own = listen_at_path(settings.socket, &error);
    if (!own.has_value()) throw Failure(kFailed, error);
    socket_files_.push_back(std::move(own->file));
    given->push_back(std::move(own->socket));
  }
  for (UniqueFd& socket : *given) {
    printf("qelalert-web: listening on %s\n", listening_at(socket.get()).c_str());
    serve(std::move(socket), false);
  }
  fflush(stdout);
}

void FrontEnd::serve(UniqueFd socket, bool with_tls) {
  std::string error;
  const auto kind = with_tls ? HttpServer::Kind::kTls : HttpServer::Kind::kPlain;
  if (!server_->listen(std::move(socket), kind, &error)) throw Failure(kFailed, error);
}

int FrontEnd::run() {
  sd_notify(0, "READY=1");
  const int result = sd_event_loop(event_.get());
  sd_notify(0, "STOPPING=1");
  if (result < 0) throw Failure(kFailed, with_errno("the event loop failed", -result));
  return 0;
}

Response FrontEnd::answer(const Request& request) {
  Response response = api_.answer(request);
  tell_news();
  return response;
}

// Streams are woken by the loop: an answer is just being made for one of their neighbours.
void FrontEnd::tell_news() {
  if (view_.next_event() == told_) return;
  told_ = view_.next_event();
  sd_event_source_set_enabled(news_.get(), SD_EVENT_ONESHOT);
}

int FrontEnd::on_news(sd_event_source*, void* self) {
  static_cast<FrontEnd*>(self)->server_->wake_streams();
  return 0;
}

int FrontEnd::on_bell(sd_event_source*, int, uint32_t, void* self) {
  auto* const front_end = static_cast<FrontEnd*>(self);
  front_end->alert_event_.clear();
  front_end->read_soon();
  return 0;
}

void FrontEnd::read_soon() {
  const auto pause = view_.wait_for_news();
  if (pause.count() <= 0) return read_now();
  const auto pause_us = std::chrono::ceil<std::chrono::microseconds>(pause).count();
  sd_event_source_set_time_relative(reading_due_.get(), static_cast<uint64_t>(pause_us));
  sd_event_source_set_enabled(reading_due_.get(), SD_EVENT_ONESHOT);
}

int FrontEnd::on_reading_due(sd_event_source*, uint64_t, void* self) {
  static_cast<FrontEnd*>(self)->read_now();
  return 0;
}

// An answer may have read the log since the alert came; then it waits again for its turn.
void FrontEnd::read_now() {
  view_.look(LogView::Pace::kForNews);
  tell_news();
  if (view_.condition() == LogCondition::kOk && view_.is_behind()) read_soon();
}

// What no event has told, such as a log that was removed.
int FrontEnd::on_second(sd_event_source* source, uint64_t, void* self) {
  auto* const front_end = static_cast<FrontEnd*>(self);
  front_end->view_.look(LogView::Pace::kForNews);
  if (!front_end->view_.indexes().fault().empty()) check_indexes(&front_end->view_);
  front_end->tell_news();
  sd_event_source_set_time_relative(source, kSecond_us);
  sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
  return 0;
}

}  // namespace qel::web

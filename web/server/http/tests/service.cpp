#include "service.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <chrono>
#include <future>
#include <utility>

#include "http/listen.h"

namespace qel::web_test {

namespace {

UniqueFd any_port() {
  std::string error;
  UniqueFd socket = web::listen_at_address("127.0.0.1:0", &error);
  EXPECT_TRUE(socket) << error;
  return socket;
}

}  // namespace

bool comes_true(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(kPatienceSeconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

web::Options wide_options() {
  web::Options options;
  options.gate.client_rate = {1e6, 1e6};
  options.limits.idle_seconds = 2 * kPatienceSeconds;
  options.limits.comment_interval = std::chrono::hours(1);
  return options;
}

Service::Service(web::Handler handler, web::Options options)
    : Service(std::move(handler), std::move(options), any_port()) {}

Service::Service(web::Handler handler, web::Options options, UniqueFd socket)
    : where_(web::listening_at(socket.get())), work_bell_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  const size_t colon = where_.rfind(':');
  if (colon != std::string::npos) port_ = std::stoi(where_.substr(colon + 1));
  options.log = [this](const std::string& text) {
    const std::lock_guard lock(mutex_);
    logged_.push_back(text);
  };
  thread_ =
      std::thread(&Service::run, this, std::move(handler), std::move(options), std::move(socket));
}

Service::~Service() {
  on_loop([this](web::HttpServer&) { sd_event_exit(event_, 0); });
  thread_.join();
}

void Service::run(web::Handler handler, web::Options options, UniqueFd socket) {
  sd_event* event = nullptr;
  ASSERT_GE(sd_event_new(&event), 0);
  const daemon::Event owner(event);
  event_ = event;
  const auto kind =
      options.certificate ? web::HttpServer::Kind::kTls : web::HttpServer::Kind::kPlain;
  web::HttpServer server(event, std::move(handler), std::move(options));
  std::string error;
  EXPECT_TRUE(server.listen(std::move(socket), kind, &error)) << error;
  server_ = &server;
  ASSERT_GE(sd_event_add_io(event, nullptr, work_bell_.get(), EPOLLIN, on_work, this), 0);
  EXPECT_EQ(0, sd_event_loop(event));
}

int Service::on_work(sd_event_source*, int fd, uint32_t, void* self) {
  eventfd_t count;
  if (eventfd_read(fd, &count) != 0) return 0;
  auto* service = static_cast<Service*>(self);
  service->work_(*service->server_);
  return 0;
}

void Service::on_loop(const std::function<void(web::HttpServer&)>& work) {
  std::promise<void> done;
  work_ = [&](web::HttpServer& server) {
    work(server);
    done.set_value();
  };
  ASSERT_EQ(0, eventfd_write(work_bell_.get(), 1));
  const auto state = done.get_future().wait_for(std::chrono::seconds(kPatienceSeconds));
  ASSERT_EQ(std::future_status::ready, state);
}

void Service::wake_streams() {
  on_loop([](web::HttpServer& server) { server.wake_streams(); });
}

size_t Service::stream_count() {
  size_t count = 0;
  on_loop([&count](web::HttpServer& server) { count = server.stream_count(); });
  return count;
}

Answer Service::get(const std::string& target) const { return client().get(target); }

std::vector<std::string> Service::logged() {
  const std::lock_guard lock(mutex_);
  return logged_;
}

}  // namespace qel::web_test

// A server in the test's process, with an event loop on a thread of its own.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "daemon/event_loop.h"
#include "http/server.h"
#include "http_client.h"

namespace qel::web_test {

// No test waits longer than this for what should happen.
constexpr int kPatienceSeconds = 30;

// Looks again and again; false when it never came true.
bool comes_true(const std::function<bool()>& condition);

// Limits that do not stand in the way of a test that is about something else.
web::Options wide_options();

class Service {
 public:
  // Listens at any port of 127.0.0.1; with TLS when the options have a certificate.
  explicit Service(web::Handler handler, web::Options options = wide_options());
  // Serves this socket.
  Service(web::Handler handler, web::Options options, UniqueFd socket);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  const std::string& where() const { return where_; }
  int port() const { return port_; }
  HttpClient client() const { return HttpClient(port_); }

  // The answer to one request on a connection of its own.
  Answer get(const std::string& target) const;

  // Runs it on the loop's thread and waits for its end.
  void on_loop(const std::function<void(web::HttpServer&)>& work);
  void wake_streams();
  size_t stream_count();

  // What the server logged so far.
  std::vector<std::string> logged();

 private:
  static int on_work(sd_event_source*, int fd, uint32_t, void* self);
  void run(web::Handler handler, web::Options options, UniqueFd socket);

  std::string where_;
  int port_ = 0;
  UniqueFd work_bell_;
  std::mutex mutex_;
  std::vector<std::string> logged_;
  std::function<void(web::HttpServer&)> work_;
  web::HttpServer* server_ = nullptr;
  sd_event* event_ = nullptr;
  std::thread thread_;
};

}  // namespace qel::web_test

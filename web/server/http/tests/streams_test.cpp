// Streams: many at once, clients that do not read, clients that go.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <list>
#include <stdexcept>

#include "service.h"

namespace qel::web_test {
namespace {

using web::Request;
using web::Response;

// What all sources of a test tell, and what became of them.
struct Board {
  std::string text;  // all of it goes to every stream
  std::atomic<int> alive = 0;
  std::atomic<int> asked = 0;
};

class BoardSource : public web::StreamSource {
 public:
  explicit BoardSource(Board& board) : board_(board) { ++board_.alive; }
  ~BoardSource() override { --board_.alive; }

  std::string take(size_t size) override {
    ++board_.asked;
    if (board_.text.ends_with("throw")) throw std::runtime_error("the source is dry");
    if (board_.text.ends_with("flood")) return std::string(size + 1, 'x');
    std::string piece = board_.text.substr(taken_, size);
    taken_ += piece.size();
    return piece;
  }

 private:
  Board& board_;
  size_t taken_ = 0;
};

class QuietSource : public web::StreamSource {
 public:
  explicit QuietSource(Board& board) : board_(board) { ++board_.alive; }
  ~QuietSource() override { --board_.alive; }
  std::string take(size_t) override { return ""; }

 private:
  Board& board_;
};

class Streams : public ::testing::Test {
 protected:
  Response answer(const Request& request) {
    Response response{.type = "text/event-stream"};
    if (request.path == "/stream") {
      response.stream = std::make_unique<BoardSource>(board_);
    } else if (request.path == "/quiet") {
      response.stream = std::make_unique<QuietSource>(board_);
    } else {
      response.body = "plain";
    }
    return response;
  }
  Service& start(const web::Options& options = wide_options()) {
    return service_.emplace([this](const Request& request) { return answer(request); }, options);
  }
  HttpClient open_stream(const std::string& target = "/stream") {
    HttpClient client = service_->client();
    EXPECT_TRUE(client.ask("GET", target));
    EXPECT_TRUE(client.receive_until("\r\n\r\n").starts_with("HTTP/1.1 200"));
    return client;
  }
  std::list<HttpClient> open_streams(size_t count) {
    std::list<HttpClient> clients;
    for (size_t i = 0; i < count; ++i) clients.push_back(open_stream());
    return clients;
  }
  void tell(const std::string& text) {
    service_->on_loop([&](web::HttpServer& server) {
      board_.text += text;
      server.wake_streams();
    });
  }
  bool count_becomes(size_t count) {
    return comes_true([&] { return service_->stream_count() == count; }) &&
           board_.alive == static_cast<int>(count);
  }

  Board board_;
  std::optional<Service> service_;
};

TEST_F(Streams, ClientGetsWhatTheSourceHasAndWhatComesLater) {
  board_.text = "hello\n\n";
  start();
  HttpClient client = open_stream();
  client.receive_until("hello\n\n");
  for (int i = 0; i < 20; ++i) {
    const std::string event = "event " + std::to_string(i) + "\n\n";
    tell(event);
    EXPECT_NE(std::string::npos, client.receive_until(event).find(event));
  }
}

// As some proxies ask.
TEST_F(Streams, ClientOfHttp10GetsThemWithoutChunks) {
  board_.text = "hello\n\n";
  start();
  HttpClient client = service_->client();
  ASSERT_TRUE(client.send("GET /stream HTTP/1.0\r\nHost: localhost\r\n\r\n"));
  client.receive_until("\r\n\r\n");
  EXPECT_EQ("hello\n\n", client.receive_until("hello\n\n"));
  for (const char* event : {"first\n\n", "second\n\n"}) {
    tell(event);
    EXPECT_EQ(event, client.receive_until(event));
  }
  client.close();
  service_->wake_streams();
  EXPECT_TRUE(count_becomes(0));
}

TEST_F(Streams, TypeAndHeadersAreThoseOfTheAnswer) {
  start();
  HttpClient client = service_->client();
  ASSERT_TRUE(client.ask("GET", "/stream"));
  const std::string head = client.receive_until("\r\n\r\n");
  EXPECT_NE(std::string::npos, head.find("Content-Type: text/event-stream\r\n")) << head;
  EXPECT_NE(std::string::npos, head.find("Cache-Control: no-store\r\n")) << head;
}

TEST_F(Streams, FiveHundredClientsGetEveryEvent) {
  start();
  auto clients = open_streams(500);
  EXPECT_EQ(500u, service_->stream_count());
  for (const char* event : {"first\n\n", "second\n\n", "third\n\n"}) {
    tell(event);
    for (HttpClient& client : clients) {
      ASSERT_NE(std::string::npos, client.receive_until(event).find(event));
    }
  }
}

TEST_F(Streams, FiveHundredStayWellBelowThirtyMegabytes) {
  start();
  const auto used = [] { return static_cast<size_t>(mallinfo2().uordblks + mallinfo2().hblkhd); };
  const size_t before = used();
  auto clients = open_streams(500);
  tell("event\n\n");
  for (HttpClient& client : clients) client.receive_until("event\n\n");
  const size_t taken = used() - before;
  RecordProperty("bytes", std::to_string(taken));
  EXPECT_LT(taken, 20'000'000u);
}

TEST_F(Streams, SilentSourceIsNotAskedAgainUntilWoken) {
  start();
  HttpClient client = open_stream();
  ASSERT_TRUE(comes_true([this] { return board_.asked == 1; }));
  for (int i = 0; i < 100; ++i) EXPECT_EQ("plain", service_->get("/").body);
  EXPECT_EQ(1, board_.asked);
  service_->wake_streams();
  EXPECT_TRUE(comes_true([this] { return board_.asked == 2; }));
}

TEST_F(Streams, ClientThatDoesNotReadHoldsNobodyUp) {
  start();
  HttpClient lazy = open_stream();
  HttpClient eager = open_stream();
  const std::string block(1'000'000, 'x');
  for (int i = 0; i < 20; ++i) {
    const std::string event = block + std::to_string(i) + "\n\n";
    tell(event);
    const std::string got = eager.receive_until(std::to_string(i) + "\n\n");
    ASSERT_TRUE(got.ends_with(std::to_string(i) + "\n\n"));
    EXPECT_EQ("plain", service_->get("/").body);
  }
  // What the lazy one left lies with its source, and it still gets the rest.
  EXPECT_EQ(2u, service_->stream_count());
  EXPECT_TRUE(lazy.receive_until("19\n\n").ends_with("19\n\n"));
}

TEST_F(Streams, ClientThatNeverReadsIsClosedAfterTheIdleTime) {
  web::Options options = wide_options();
  options.limits.idle_seconds = 1;
  board_.text = std::string(30'000'000, 'x');
  start(options);
  HttpClient client = open_stream();
  EXPECT_TRUE(count_becomes(0));
}

TEST_F(Streams, SilentStreamIsNotIdle) {
  web::Options options = wide_options();
  options.limits.idle_seconds = 1;
  start(options);
  HttpClient silent = open_stream();
  HttpClient idle = service_->client();
  EXPECT_TRUE(idle.is_closed_silently());  // it was opened later and its time is over
  tell("event\n\n");
  EXPECT_TRUE(silent.receive_until("event\n\n").ends_with("event\n\n"));
}

TEST_F(Streams, ClientThatHasGoneIsNoticedAtOnce) {
  start();
  auto clients = open_streams(20);
  clients.front().reset();
  clients.back().close();
  ASSERT_TRUE(count_becomes(18));
  tell("event\n\n");
  for (auto client = std::next(clients.begin()); client != std::prev(clients.end()); ++client) {
    EXPECT_TRUE(client->receive_until("event\n\n").ends_with("event\n\n"));
  }
}

TEST_F(Streams, CommentsKeepTheConnectionAndFindThoseWhoHaveGone) {
  web::Options options = wide_options();
  options.limits.comment_interval = std::chrono::milliseconds(20);
  start(options);
  HttpClient stays = open_stream();
  HttpClient goes = open_stream();
  goes.close();
  EXPECT_TRUE(count_becomes(1));
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(stays.receive_until(": ping\n\n").ends_with(": ping\n\n"));
  }
}

TEST_F(Streams, OneMoreThanTheLimitIsRefusedUntilOneEnds) {
  web::Options options = wide_options();
  options.limits.streams = 3;
  start(options);
  auto clients = open_streams(3);
  const Answer refused = service_->get("/stream");
  EXPECT_EQ(429, refused.status);
  EXPECT_EQ("5", refused.header("retry-after"));
  EXPECT_NE(std::string::npos, refused.body.find("\"too_many_streams\"")) << refused.body;
  EXPECT_EQ(3, board_.alive);
  EXPECT_EQ("plain", service_->get("/").body);

  clients.pop_back();
  service_->wake_streams();
  ASSERT_TRUE(count_becomes(2));
  HttpClient again = open_stream();
  EXPECT_EQ(3u, service_->stream_count());
}

TEST_F(Streams, HeadOfAStreamAnswersTheHeadersAndEnds) {
  start();
  HttpClient client = service_->client();
  ASSERT_TRUE(client.ask("HEAD", "/stream"));
  const Answer answer = client.receive(true);
  EXPECT_EQ(200, answer.status);
  EXPECT_EQ("text/event-stream", answer.header("content-type"));
  EXPECT_TRUE(client.is_closed_silently());
  EXPECT_EQ(0u, service_->stream_count());
  EXPECT_EQ(0, board_.alive);
}

TEST_F(Streams, SourceThatFailsEndsItsStreamAndIsLogged) {
  start();
  HttpClient client = open_stream();
  tell("throw");
  client.receive_all();
  EXPECT_TRUE(count_becomes(0));
  ASSERT_EQ(1u, service_->logged().size());
  EXPECT_EQ("a stream ends: the source is dry", service_->logged()[0]);
  EXPECT_EQ("plain", service_->get("/").body);
}

TEST_F(Streams, SourceThatGivesTooMuchEndsItsStream) {
  start();
  HttpClient client = open_stream();
  tell("flood");
  EXPECT_EQ(std::string::npos, client.receive_all().find('x'));
  EXPECT_TRUE(count_becomes(0));
  EXPECT_EQ(1u, service_->logged().size());
}

TEST_F(Streams, EndOfTheServerClosesAndFreesEveryStream) {
  board_.text = std::string(10'000'000, 'x');
  start();
  HttpClient full = open_stream();  // its socket is full
  std::list<HttpClient> quiet;
  for (int i = 0; i < 10; ++i) quiet.push_back(open_stream("/quiet"));
  EXPECT_EQ(11, board_.alive);
  service_.reset();
  EXPECT_EQ(0, board_.alive);
  EXPECT_LT(full.receive_all().size(), board_.text.size());
  for (HttpClient& client : quiet) EXPECT_EQ("", client.receive_all());
}

TEST_F(Streams, HandlerMayWakeThem) {
  web::HttpServer* server = nullptr;
  service_.emplace(
      [&](const Request& request) {
        if (request.path == "/tell") {
          board_.text += "told\n\n";
          server->wake_streams();
        }
        return answer(request);
      },
      wide_options());
  service_->on_loop([&server](web::HttpServer& started) { server = &started; });
  HttpClient client = open_stream();
  EXPECT_EQ("plain", service_->get("/tell").body);
  EXPECT_TRUE(client.receive_until("told\n\n").ends_with("told\n\n"));
}

}  // namespace
}  // namespace qel::web_test

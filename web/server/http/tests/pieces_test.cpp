// Long answers that are made while they are sent.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

#include "service.h"

namespace qel::web_test {
namespace {

using web::Request;
using web::Response;

class Pieces : public ::testing::Test {
 protected:
  // "/N": N pieces of a line each; "/huge": one that no buffer holds; "/fails": after two it
  // throws.
  Response answer(const Request& request) {
    if (request.path == "/plain") return {.body = "plain"};
    const bool fails = request.path == "/fails";
    const size_t size = request.path == "/huge" ? 300'000 : 10;
    const int count = fails ? 10'000 : request.path == "/huge" ? 1 : atoi(request.path.c_str() + 1);
    Response response;
    const auto held = std::make_shared<int>(0);
    in_use_ = held;
    response.pieces = [this, fails, size, count, held]() -> std::string {
      if (*held == count) return "";
      if (fails && *held == 5000) throw std::runtime_error("the store is gone");
      ++made_;
      return std::string(size - 1, static_cast<char>('a' + ++*held % 26)) + "\n";
    };
    return response;
  }
  bool is_freed() {
    return comes_true([this] { return in_use_.expired(); });
  }

  std::atomic<int> made_ = 0;
  std::weak_ptr<int> in_use_;
  Service service_{[this](const Request& request) { return answer(request); }};
};

TEST_F(Pieces, ArriveWholeAndInOrder) {
  HttpClient client = service_.client();
  const Answer answer = client.get("/10000");
  EXPECT_EQ("chunked", answer.header("transfer-encoding"));
  ASSERT_EQ(100'000u, answer.body.size());
  for (size_t i = 0; i < 10'000; ++i) {
    ASSERT_EQ('a' + static_cast<int>((i + 1) % 26), answer.body[i * 10]) << i;
  }
  EXPECT_EQ("plain", client.get("/plain").body);
  EXPECT_TRUE(is_freed());
}

TEST_F(Pieces, OneThatNoBufferHoldsArrivesWhole) {
  EXPECT_EQ(std::string(299'999, 'b') + "\n", service_.get("/huge").body);
}

TEST_F(Pieces, ClientOfHttp10GetsThemWithoutChunks) {
  HttpClient client = service_.client();
  ASSERT_TRUE(client.send("GET /10000 HTTP/1.0\r\nHost: localhost\r\n\r\n"));
  EXPECT_EQ(std::string::npos, client.receive_until("\r\n\r\n").find("chunked"));
  EXPECT_EQ(100'000u, client.receive_all().size());
}

TEST_F(Pieces, NoPieceIsAnEmptyBody) {
  HttpClient client = service_.client();
  const Answer answer = client.get("/0");
  EXPECT_EQ(200, answer.status);
  EXPECT_EQ("", answer.body);
  EXPECT_EQ("plain", client.get("/plain").body);
}

TEST_F(Pieces, HeadMakesNone) {
  HttpClient client = service_.client();
  ASSERT_TRUE(client.ask("HEAD", "/10000"));
  EXPECT_EQ(200, client.receive(true).status);
  EXPECT_TRUE(client.is_closed_silently());
  EXPECT_EQ(0, made_);
}

TEST_F(Pieces, FailureCutsTheAnswerOffVisibly) {
  HttpClient client = service_.client();
  ASSERT_TRUE(client.ask("GET", "/fails"));
  const std::string all = client.receive_all();
  EXPECT_NE(std::string::npos, all.find("bbbbbbbbb\n"));
  EXPECT_EQ(std::string::npos, all.find("0\r\n\r\n")) << all;
  ASSERT_EQ(1u, service_.logged().size());
  EXPECT_EQ("an answer breaks off: the store is gone", service_.logged()[0]);
  EXPECT_TRUE(is_freed());
}

TEST_F(Pieces, AreMadeOnlyAsTheClientTakesThem) {
  constexpr int kCount = 10'000'000;
  HttpClient client = service_.client();
  ASSERT_TRUE(client.ask("GET", "/" + std::to_string(kCount)));
  client.receive_until("bbbbbbbbb\n");
  int before = -1;
  ASSERT_TRUE(comes_true([&] { return std::exchange(before, made_.load()) == made_; }));
  for (int i = 0; i < 20; ++i) EXPECT_EQ("plain", service_.get("/plain").body);
  EXPECT_LT(made_, kCount);
}

TEST_F(Pieces, AreFreedWhenTheClientGoes) {
  HttpClient client = service_.client();
  ASSERT_TRUE(client.ask("GET", "/10000000"));
  client.receive_until("bbbbbbbbb\n");
  client.reset();
  EXPECT_TRUE(is_freed());
}

}  // namespace
}  // namespace qel::web_test

// The status socket: questions, nonsense, and clients that do not behave.
#include "status_socket.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <list>
#include <nlohmann/json.hpp>

#include "event_loop.h"
#include "socket_client.h"
#include "support/files.h"
#include "support/process.h"
#include "testing/test_support.h"

namespace qel::daemon_test {
namespace {

constexpr size_t kClients = 16;  // connected at once

// Serves in a process of its own: the answer to "status" is `report` and a line end.
class Service {
 public:
  Service(const std::string& path, const std::string& report)
      : process_([this, path, report] { return serve(path, report); }) {
    EXPECT_EQ('.', listening_.receive());
  }

  // Ends it as the daemon ends; 0 when nothing went wrong.
  int end() {
    process_.kill(SIGTERM);
    return process_.wait();
  }

 private:
  int serve(const std::string& path, const std::string& report) const {
    const daemon::Event event = daemon::make_event_loop();
    daemon::StatusSocket socket(
        {{"status", [&report](const nlohmann::json&) { return report + "\n"; }}});
    std::string error;
    if (!socket.listen(event.get(), path, &error)) return 2;
    if (sd_event_add_signal(event.get(), nullptr, SIGTERM, nullptr, nullptr) < 0) return 3;
    listening_.send();
    return sd_event_loop(event.get());
  }

  testing::Channel listening_;
  alt_test::Child process_;
};

class StatusSocketTest : public ::testing::Test {
 protected:
  std::string ask(const std::string& request) const {
    const SocketClient client(path_);
    EXPECT_TRUE(client.connected());
    client.send(request);
    return client.receive_all();
  }
  std::string error_of(const std::string& request) const {
    const std::string answer = ask(request);
    EXPECT_TRUE(answer.ends_with("\n")) << answer;
    const auto parsed = nlohmann::json::parse(answer, nullptr, false);
    return parsed.is_object() ? parsed.value("error", "no error") : "no object: " + answer;
  }
  void expect_status_is_told() const { EXPECT_EQ("{report}\n", ask(kStatus)); }

  static constexpr char kStatus[] = "{\"request\":\"status\"}\n";

  testing::ScratchDirectory directory_;
  const std::string path_ = directory_ / "run/daemon.sock";
};

class StatusSocketAnswers : public StatusSocketTest {
 protected:
  void TearDown() override { EXPECT_EQ(0, service_.end()); }

  Service service_{path_, "{report}"};
};

TEST_F(StatusSocketAnswers, StatusToEachWhoAsks) {
  for (int i = 0; i < 50; ++i) expect_status_is_told();
  EXPECT_EQ("{report}\n", ask(" { \"more\": [1], \"request\" : \"status\" } \nand more\n"));
}

TEST_F(StatusSocketAnswers, RequestThatComesInPieces) {
  const SocketClient client(path_);
  const std::string request = kStatus;
  for (const char byte : request) ASSERT_TRUE(client.send(std::string(1, byte)));
  EXPECT_EQ("{report}\n", client.receive_all());
}

TEST_F(StatusSocketAnswers, UnknownRequestIsNamed) {
  EXPECT_EQ("unknown request \"stop\"", error_of("{\"request\":\"stop\"}\n"));
  EXPECT_EQ("unknown request 7", error_of("{\"request\":7}\n"));
  EXPECT_EQ("unknown request null", error_of("{\"request\":null}\n"));
  EXPECT_TRUE(error_of("{\"request\":{\"a\":[1,2]}}\n").starts_with("unknown request {"));
}

TEST_F(StatusSocketAnswers, WhatIsNoRequestIsToldSo) {
  for (const char* nonsense : {"\n", "status\n", "{\"request\":\n", "[]\n", "\"request\"\n", "{}\n",
                               "{\"Request\":\"status\"}\n", "\x01\xff\xfe\n"}) {
    EXPECT_EQ("the request is not an object with the member \"request\"", error_of(nonsense));
  }
}

TEST_F(StatusSocketAnswers, BytesThatAreNoTextDoNotBreakTheAnswer) {
  EXPECT_TRUE(error_of("{\"request\":\"\xff\xfe\"}\n").size() > 0);
  expect_status_is_told();
}

TEST_F(StatusSocketAnswers, DeeplyNestedRequestIsRefused) {
  const std::string nested(2000, '[');
  EXPECT_EQ("the request is not an object with the member \"request\"", error_of(nested + "\n"));
}

TEST_F(StatusSocketAnswers, OverlongLineIsRefused) {
  EXPECT_EQ("the request is too long", error_of(std::string(5000, ' ')));
  expect_status_is_told();
}

TEST_F(StatusSocketAnswers, ClientThatGoesWithoutAWordDoesNoHarm) {
  for (int i = 0; i < 100; ++i) {
    const SocketClient client(path_);
    if (i % 2 == 0) client.send("{\"requ");
  }
  expect_status_is_told();
}

TEST_F(StatusSocketAnswers, ClientThatGoesBeforeItsAnswerDoesNoHarm) {
  for (int i = 0; i < 100; ++i) SocketClient(path_).send(kStatus);
  expect_status_is_told();
}

TEST_F(StatusSocketAnswers, IdleClientsAreDroppedAndTheNextIsServed) {
  std::list<SocketClient> idle;
  for (size_t i = 0; i < kClients; ++i) idle.emplace_back(path_);
  for (const SocketClient& client : idle) ASSERT_TRUE(client.connected());
  EXPECT_EQ("", ask(kStatus)) << "more than the clients that may be connected";
  for (const SocketClient& client : idle) EXPECT_EQ("", client.receive_all());
  expect_status_is_told();
}

TEST_F(StatusSocketTest, ClientThatNeverReadsIsDroppedAndKeepsNobodyOut) {
  const std::string report(8 << 20, 'x');
  Service service(path_, report);
  const SocketClient deaf(path_);
  ASSERT_TRUE(deaf.send(kStatus));
  EXPECT_EQ(report + "\n", ask(kStatus)) << "the other client";
  EXPECT_EQ(0, service.end());
}

TEST_F(StatusSocketTest, SocketLeftBehindIsReplacedAndGoneAtTheEnd) {
  { Service killed(path_, "{old}"); }
  ASSERT_TRUE(alt_test::file_exists(path_));
  Service service(path_, "{report}");
  expect_status_is_told();
  EXPECT_EQ(0, service.end());
  EXPECT_FALSE(alt_test::file_exists(path_));
}

TEST_F(StatusSocketTest, SocketIsForOwnerAndGroupOnly) {
  Service service(path_, "{report}");
  struct stat status;
  ASSERT_EQ(0, stat(path_.c_str(), &status));
  EXPECT_EQ(0660U, status.st_mode & 0777);
  EXPECT_EQ(0, service.end());
}

TEST_F(StatusSocketTest, PathThatIsTooLongIsTheReasonGiven) {
  const daemon::Event event = daemon::make_event_loop();
  daemon::StatusSocket socket({});
  std::string error;
  const std::string path = directory_ / std::string(110, 's');
  EXPECT_FALSE(socket.listen(event.get(), path, &error));
  EXPECT_NE(std::string::npos, error.find(path)) << error;
  EXPECT_NE(std::string::npos, error.find("too long")) << error;
}

}  // namespace
}  // namespace qel::daemon_test

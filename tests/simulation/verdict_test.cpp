// That the simulation notices what it is there to notice.
#include "verdict.h"

#include <gtest/gtest.h>

#include "support/files.h"

namespace qel::simulation {
namespace {

using ::testing::Test;

constexpr int kServers = 3;
constexpr Time kStartTime = 30 * kSecond;  // of all servers
constexpr Time kExchangeTime = 5 * kSecond;

// Three servers that run and hear each other.
class Verdict : public Test {
 protected:
  Verdict() {
    for (int i = 0; i < kServers; ++i) cluster_.server(i).start();
    let_pass(kStartTime);
  }

  void let_pass(Time time) { cluster_.queue().run_until(cluster_.queue().now() + time); }

  void raise(int server, const std::string& message) {
    bool accepted = false;
    ASSERT_TRUE(cluster_.server(server).raise(cluster_.program(), "2024/01/01 00:00:01.000",
                                              message, &accepted));
    ASSERT_TRUE(accepted);
    ledger_.raised(message, cluster_.server(server).name());
    let_pass(kExchangeTime);
  }

  // Changes bytes of a file of a server's store.
  void change(int server, const std::string& file, size_t offset, const std::string& bytes) {
    alt_test::write_file_at(cluster_.server(server).store() + "/" + file, offset, bytes);
  }

  bool finds(const std::string& fault) {
    const std::string found = find_fault(&cluster_, ledger_);
    return found.find(fault) != std::string::npos;
  }

  Cluster cluster_{kServers, 1};
  Ledger ledger_;
};

size_t offset_of(const std::string& store, const std::string& text) {
  return alt_test::read_file(store + "/alertlog.alt").value().find(text);
}

TEST_F(Verdict, NothingIsWrongWhereAllLogsAreEqual) {
  raise(0, "first");
  raise(1, "second");
  EXPECT_TRUE(is_settled(&cluster_));
  EXPECT_EQ("", find_fault(&cluster_, ledger_));
}

TEST_F(Verdict, AlertThatDoesNotReachTheOthersIsMissed) {
  cluster_.network().part({0});
  raise(0, "first");
  EXPECT_FALSE(is_settled(&cluster_));
  EXPECT_TRUE(finds("server01 holds alert 1 of server01, server02 does not"));
}

TEST_F(Verdict, OwedAlertThatNobodyHoldsIsLost) {
  ledger_.raised("never stored", "server01");
  EXPECT_TRUE(finds("lost: never stored"));
}

TEST_F(Verdict, AlertOfALostStoreIsNotOwed) {
  ledger_.raised("on one disk only", "server01");
  ledger_.lost("server01");
  EXPECT_EQ("", find_fault(&cluster_, ledger_));
}

TEST_F(Verdict, AlertThatNobodyRaisedIsNoticed) {
  raise(0, "first");
  for (int i = 0; i < kServers; ++i) {
    change(i, "alertlog.alt", offset_of(cluster_.server(i).store(), "first"), "faust");
  }
  EXPECT_TRUE(finds("nobody has raised alert 1 of server01 (faust)"));
}

TEST_F(Verdict, SameIdForTwoAlertsIsNoticed) {
  raise(0, "first");
  change(1, "alertlog.alt", offset_of(cluster_.server(1).store(), "first"), "other");
  EXPECT_TRUE(finds("alert 1 of server01 is \"2024/01/01 00:00:01.000 first\" on server01"));
}

TEST_F(Verdict, WrongIndexIsNoticed) {
  raise(0, "first");
  const std::string index = alt_test::read_file(cluster_.server(2).store() + "/level.idx").value();
  change(2, "level.idx", index.rfind('2'), "1");
  EXPECT_TRUE(finds("server03 had indexes that differ: level.idx"));
}

TEST_F(Verdict, ServerThatDoesNotRunIsNoticed) {
  cluster_.server(1).stop();
  EXPECT_FALSE(is_settled(&cluster_));
  EXPECT_TRUE(finds("server02 does not run"));
}

}  // namespace
}  // namespace qel::simulation

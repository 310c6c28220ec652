// The relay itself: what it is told to do to datagrams must happen to them.
#include "relay.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <string>
#include <vector>

#include "loopback.h"
#include "program.h"

namespace qel::system_test {
namespace {

constexpr int kServers = 3;
constexpr int kInterconnects = 2;
constexpr int kDatagrams = 200;

struct Received {
  std::string text;
  std::string from;
};

class RelayTest : public ::testing::Test {
 protected:
  RelayTest() {
    for (int i = 0; i < kServers; ++i) {
      for (int k = 0; k < kInterconnects; ++k) {
        sockets_.push_back(bound_socket(loopback_address(i, k), port_));
      }
    }
  }

  void send(int from, int to, int interconnect, const std::string& text) const {
    const sockaddr_in seen =
        socket_address(loopback_address(to, interconnect, Relay::view_of(from)), port_);
    ASSERT_EQ(static_cast<ssize_t>(text.size()),
              sendto(at(from, interconnect), text.data(), text.size(), 0,
                     reinterpret_cast<const sockaddr*>(&seen), sizeof seen));
  }
  void send_numbered(int from, int to, int interconnect) const {
    for (int n = 0; n < kDatagrams; ++n) send(from, to, interconnect, std::to_string(1000 + n));
  }

  // What has arrived there by the time that the relay has dealt with all that was sent to it.
  std::vector<Received> received(int i, int interconnect, uint64_t sent) const {
    EXPECT_TRUE(eventually([&] {
      const Relay::Counters counters = relay_.counters();
      return counters.lost + counters.passed == sent &&
             counters.delivered == counters.passed + counters.repeated;
    }));
    std::vector<Received> all;
    char text[64];
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    for (ssize_t length; (length = recvfrom(at(i, interconnect), text, sizeof text, MSG_DONTWAIT,
                                            reinterpret_cast<sockaddr*>(&from), &size)) > 0;) {
      char address[INET_ADDRSTRLEN] = "";
      inet_ntop(AF_INET, &from.sin_addr, address, sizeof address);
      all.push_back({std::string(text, static_cast<size_t>(length)), address});
    }
    return all;
  }
  static std::vector<std::string> texts(const std::vector<Received>& all) {
    std::vector<std::string> texts;
    for (const Received& one : all) texts.push_back(one.text);
    return texts;
  }

 private:
  int at(int i, int interconnect) const {
    return sockets_[static_cast<size_t>(i * kInterconnects + interconnect)].get();
  }
  static std::vector<std::string> addresses() {
    std::vector<std::string> all;
    for (int i = 0; i < kServers; ++i) {
      for (int k = 0; k < kInterconnects; ++k) all.push_back(loopback_address(i, k));
    }
    return all;
  }

 protected:
  const int port_ = free_port(addresses());
  Relay relay_{kServers, kInterconnects, port_, 1};

 private:
  std::vector<UniqueFd> sockets_;
};

TEST_F(RelayTest, GoodNetworkPassesEachOnceInOrderFromWhereTheReceiverKnowsTheSender) {
  send_numbered(0, 2, 1);
  const auto all = received(2, 1, kDatagrams);
  ASSERT_EQ(static_cast<size_t>(kDatagrams), all.size());
  EXPECT_EQ("1000", all.front().text);
  EXPECT_EQ(loopback_address(0, 1, Relay::view_of(2)), all.front().from);
  const auto order = texts(all);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(RelayTest, LossTakesItsShare) {
  relay_.set({.lost_percent = 30});
  send_numbered(0, 1, 0);
  const size_t arrived = received(1, 0, kDatagrams).size();
  EXPECT_LT(size_t{kDatagrams} * 50 / 100, arrived);
  EXPECT_GT(size_t{kDatagrams} * 90 / 100, arrived);
}

TEST_F(RelayTest, RepeatedDatagramsArriveTwice) {
  relay_.set({.repeated_percent = 100});
  send(0, 1, 0, "once");
  EXPECT_EQ((std::vector<std::string>{"once", "once"}), texts(received(1, 0, 1)));
}

TEST_F(RelayTest, DelaysLetDatagramsOvertakeEachOther) {
  relay_.set({.delay_ms_max = 100});
  send_numbered(0, 1, 0);
  auto order = texts(received(1, 0, kDatagrams));
  ASSERT_EQ(static_cast<size_t>(kDatagrams), order.size());
  EXPECT_FALSE(std::is_sorted(order.begin(), order.end()));
  std::sort(order.begin(), order.end());
  EXPECT_EQ(order.end(), std::adjacent_find(order.begin(), order.end()));
}

TEST_F(RelayTest, DeadInterconnectCarriesNothingAndTheOtherAll) {
  relay_.set({.dead_interconnects = 0b10});
  send(0, 1, 0, "alive");
  send(0, 1, 1, "dead");
  EXPECT_EQ(std::vector<std::string>{"alive"}, texts(received(1, 0, 2)));
  EXPECT_TRUE(received(1, 1, 2).empty());
}

TEST_F(RelayTest, PartitionKeepsBothSidesApartAndEachTogether) {
  relay_.set({.island = 0b100});
  send(0, 1, 0, "together");
  send(0, 2, 0, "out");
  send(2, 1, 0, "in");
  EXPECT_EQ(std::vector<std::string>{"together"}, texts(received(1, 0, 3)));
  EXPECT_TRUE(received(2, 0, 3).empty());
  relay_.set({});
  send(2, 1, 0, "again");
  EXPECT_EQ(std::vector<std::string>{"again"}, texts(received(1, 0, 4)));
}

}  // namespace
}  // namespace qel::system_test

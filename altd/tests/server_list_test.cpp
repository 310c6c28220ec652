// Lists of servers, and the comparison of their addresses.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "alert_config.h"
#include "alert_udp.h"
#include "support/cluster.h"
#include "support/fault_injection.h"
#include "support/log_capture.h"
#include "support/store_bytes.h"

namespace alt_test {
namespace {

class ServerList : public ::testing::Test {
 protected:
  ServerList() {
    log_.clear();
    alt_log_handle = log_.handle();
  }
  ~ServerList() override {
    release_svrlist(&list_);
    alt_log_handle = nullptr;
  }
  int add(const std::string& name, std::initializer_list<const char*> addresses = {}) {
    ty_svrlist* server = new_server(name, addresses);
    const int result = add_to_server_list(&list_, server);
    release_svrlist(&server);
    return result;
  }

  LogCapture& log_ = LogCapture::instance();
  ty_svrlist* list_ = nullptr;
};

// ---- adding -------------------------------------------------------------------------------------

TEST_F(ServerList, ServersAreAppendedInTheOrderOfTheCalls) {
  EXPECT_EQ(add("b"), 0);
  EXPECT_EQ(add("a"), 0);
  EXPECT_EQ(add("c"), 0);
  EXPECT_EQ(names_of(list_), (Texts{"b", "a", "c"}));
}

TEST_F(ServerList, NodeIsACopyWithAllAddresses) {
  ty_svrlist* server = new_server("node1", {"10.0.0.1", "fe80::1", "10.0.1.1"});
  server->ip_addr[1].device_id = 77;
  server->next = server;
  ASSERT_EQ(add_to_server_list(&list_, server), 0);
  ASSERT_NE(list_, server);
  EXPECT_NE(list_->svr_name, server->svr_name);
  server->next = nullptr;
  release_svrlist(&server);
  EXPECT_EQ(list_->next, nullptr);
  EXPECT_STREQ(list_->svr_name, "node1");
  ASSERT_EQ(list_->ip_num, 3);
  const ip46_addr* addresses = list_->ip_addr;
  EXPECT_STREQ(addresses[0].ip, "10.0.0.1");
  EXPECT_STREQ(addresses[1].ip, "fe80::1");
  EXPECT_STREQ(addresses[2].ip, "10.0.1.1");
  EXPECT_EQ(addresses[0].device_id, 1);
  EXPECT_EQ(addresses[1].device_id, 77);
  EXPECT_EQ(addresses[2].device_id, 3);
}

TEST_F(ServerList, ServerWithTheNameOfTheFirstIsAddedOnceMore) {
  add("a");
  add("b");
  EXPECT_EQ(add("a"), 0);
  EXPECT_EQ(names_of(list_), (Texts{"a", "b", "a"}));
  EXPECT_FALSE(log_.has_part(kNotable, "repeat server"));
}

TEST_F(ServerList, ServerWithTheNameOfALaterOneIsNotAdded) {
  add("a");
  add("b");
  EXPECT_EQ(add("b"), 0);
  EXPECT_EQ(names_of(list_), (Texts{"a", "b"}));
  EXPECT_TRUE(log_.has(kNotable, "repeat server b."));
}

TEST_F(ServerList, SecondCopyOfTheFirstIsTheLast) {
  for (int i = 0; i < 4; ++i) EXPECT_EQ(add("a"), 0);
  EXPECT_EQ(names_of(list_), (Texts{"a", "a"}));
}

TEST_F(ServerList, NamesDifferInCase) {
  add("x");
  add("b");
  add("B");
  EXPECT_EQ(names_of(list_), (Texts{"x", "b", "B"}));
}

TEST_F(ServerList, ListIsLoggedAfterEachAddition) {
  add("a");
  log_.clear();
  add("b");
  EXPECT_EQ(log_.texts(kNotable), (Texts{"------------- server list --------------", "a", "b"}));
  EXPECT_TRUE(log_.has(kTrace, "create a new server node"));
}

TEST_F(ServerList, MissingArgumentIsAnError) {
  ty_svrlist* server = new_server("a");
  EXPECT_EQ(add_to_server_list(nullptr, server), -1);
  EXPECT_EQ(add_to_server_list(&list_, nullptr), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
  release_svrlist(&server);
}

struct MemoryFault {
  Site site;
  const char* message;
};
void PrintTo(const MemoryFault& fault, std::ostream* out) { *out << fault.message; }
class MemoryFaults : public ServerList, public ::testing::WithParamInterface<MemoryFault> {};
INSTANTIATE_TEST_SUITE_P(ServerList, MemoryFaults,
                         ::testing::Values(MemoryFault{Site::kAllocate, "malloc failed"},
                                           MemoryFault{Site::kCopyText, "call strdup failed"}));

TEST_P(MemoryFaults, LeaveTheListUnchanged) {
  add("a");
  ty_svrlist* server = new_server("b");
  {
    const Fault fault(GetParam().site, ENOMEM);
    EXPECT_EQ(add_to_server_list(&list_, server), -1);
  }
  release_svrlist(&server);
  EXPECT_EQ(names_of(list_), Texts{"a"});
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
}

// ---- removing -----------------------------------------------------------------------------------

class Unlinking : public ServerList, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(ServerList, Unlinking, ::testing::Values(0, 1, 2));

TEST_P(Unlinking, TakesOneNodeOutAndDoesNotFreeIt) {
  Texts left = {"a", "b", "c"};
  for (const std::string& name : left) add(name);
  ty_svrlist* node = list_;
  for (int i = 0; i < GetParam(); ++i) node = node->next;
  unlink_one_svr(&list_, node);
  EXPECT_EQ(node->svr_name, left[static_cast<size_t>(GetParam())]);
  left.erase(left.begin() + GetParam());
  EXPECT_EQ(names_of(list_), left);
  free(node->svr_name);
  free(node);
}

TEST_F(ServerList, UnlinkingAStrangerChangesNothing) {
  add("a");
  add("b");
  ty_svrlist* stranger = new_server("a");
  unlink_one_svr(&list_, stranger);
  EXPECT_EQ(names_of(list_), (Texts{"a", "b"}));
  ty_svrlist* empty = nullptr;
  unlink_one_svr(&empty, stranger);
  EXPECT_EQ(empty, nullptr);
  release_svrlist(&stranger);
}

TEST_F(ServerList, UnlinkingIsTraced) {
  add("a");
  ty_svrlist* node = list_;
  log_.clear();
  unlink_one_svr(&list_, node);
  EXPECT_GE(log_.texts(kTrace).size(), 2U);
  release_svrlist(&node);
}

TEST_F(ServerList, ReleasedListIsEmpty) {
  add("a");
  add("b");
  release_svrlist(&list_);
  EXPECT_EQ(list_, nullptr);
  release_svrlist(&list_);
  EXPECT_EQ(list_, nullptr);
}

TEST_F(ServerList, NodeWithoutANameIsReleasedToo) {
  list_ = static_cast<ty_svrlist*>(calloc(1, sizeof(ty_svrlist)));
  release_svrlist(&list_);
  EXPECT_EQ(list_, nullptr);
}

// ---- addresses ----------------------------------------------------------------------------------

struct Addresses {
  const char* one;
  const char* other;
  int result;
};
void PrintTo(const Addresses& row, std::ostream* out) { *out << row.one << " " << row.other; }
class AddressTable : public ServerList, public ::testing::WithParamInterface<Addresses> {};
INSTANTIATE_TEST_SUITE_P(ServerList, AddressTable,
                         ::testing::Values(Addresses{"192.168.1.5", "192.168.1.5", 0},
                                           Addresses{"192.168.1.5", "::ffff:192.168.1.5", 0},
                                           Addresses{"::FFFF:10.0.0.1", "10.0.0.1", 0},
                                           Addresses{"FE80::1", "fe80::1", 0},
                                           Addresses{"fe80::1", "fe80:0::1", 1},
                                           Addresses{"192.168.1.5", "192.168.1.50", 1},
                                           Addresses{"192.168.1.5", "192.168.1.6", 1},
                                           Addresses{"10.0.0.1", "010.0.0.1", 1},
                                           Addresses{"fe80::1", "fe80::01", 1},
                                           Addresses{"", "", 0}, Addresses{"", "::ffff:", 0}));

TEST_P(AddressTable, IsComparedInBothDirections) {
  EXPECT_EQ(ip_compare(GetParam().one, GetParam().other), GetParam().result);
  EXPECT_EQ(ip_compare(GetParam().other, GetParam().one), GetParam().result);
}

TEST_F(ServerList, AddressesOfFullLengthAreCompared) {
  const std::string longest(45, '1');
  EXPECT_EQ(ip_compare(longest.c_str(), longest.c_str()), 0);
  EXPECT_EQ(ip_compare(longest.c_str(), longest.substr(1).c_str()), 1);
}

TEST_F(ServerList, ServerIsInAListWithOneOfItsAddresses) {
  add("a", {"10.0.0.1", "10.0.1.1"});
  add("b", {"10.0.0.2"});
  ty_svrlist* by_second = new_server("x", {"10.9.9.9", "::ffff:10.0.0.2"});
  ty_svrlist* by_none = new_server("a", {"10.9.9.9"});
  ty_svrlist* without = new_server("a");
  EXPECT_EQ(check_server_in_list(list_, by_second), 1);
  EXPECT_EQ(check_server_in_list(list_, by_none), 0);
  EXPECT_EQ(check_server_in_list(list_, without), 0);
  EXPECT_EQ(check_server_in_list(nullptr, by_second), 0);
  for (ty_svrlist* each : {by_second, by_none, without}) release_svrlist(&each);
}

// ---- the host name ------------------------------------------------------------------------------

TEST_F(ServerList, LocalServerIsTheShortHostName) {
  char expected[256] = "";
  ASSERT_EQ(gethostname(expected, sizeof(expected)), 0);
  expected[strcspn(expected, ".")] = '\0';
  char name[256] = "";
  EXPECT_EQ(get_local_server(name), 0);
  EXPECT_STREQ(name, expected);
}

TEST_F(ServerList, HostNameIntoNothingIsAnError) {
  EXPECT_EQ(get_local_server(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(ServerList, UnknownHostNameIsAFailure) {
  const Fault fault(Site::kHostName, ENAMETOOLONG);
  char name[256];
  EXPECT_EQ(get_local_server(name), -1);
  EXPECT_TRUE(log_.has(kFailures, "gethostname failed"));
}

}  // namespace
}  // namespace alt_test

// The library's lists of servers while servers come, go and change their addresses.
#include "cluster/membership.h"

#include <gtest/gtest.h>

#include "alert_config.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "support/cluster.h"
#include "support/fault_injection.h"
#include "support/log_capture.h"

namespace qel::daemon_test {
namespace {

using alt_test::names_of;
using daemon::install_servers;
using daemon::MembershipChange;
using daemon::release_servers;
using daemon::ServerEntry;
using Servers = std::vector<ServerEntry>;
using Texts = std::vector<std::string>;

// On two interconnects.
ServerEntry server(const std::string& name, int number) {
  const std::string tail = "." + std::to_string(number);
  return {name, {{"10.0.0" + tail, 0}, {"10.1.0" + tail, 1}}};
}

const Servers kThree = {server("alpha", 1), server("beta", 2), server("gamma", 3)};

// "name address/interconnect ..." of each node.
Texts content_of(const ty_svrlist* list) {
  Texts texts;
  for (; list != nullptr; list = list->next) {
    std::string& text = texts.emplace_back(list->svr_name);
    for (int i = 0; i < list->ip_num; ++i) {
      text +=
          std::string(" ") + list->ip_addr[i].ip + "/" + std::to_string(list->ip_addr[i].device_id);
    }
  }
  return texts;
}

// Everything that an installation may change, as text.
std::vector<Texts> whole_state() {
  return {content_of(server_list_head),
          content_of(local_svr),
          content_of(new_server_list),
          content_of(servers_not_reply),
          {std::to_string(g_sync_step), std::to_string(check_newsvr_flag)}};
}

class Membership : public ::testing::Test {
 protected:
  Membership() { alt_log_handle = alt_test::LogCapture::instance().handle(); }
  ~Membership() override {
    release_servers();
    g_sync_step = RESYN_END;
    check_newsvr_flag = 0;
    alt_log_handle = nullptr;
  }

  // This server is "beta".
  static MembershipChange install(const Servers& servers) {
    MembershipChange change = {{"before"}, {"before"}, {"before"}, true};
    std::string error;
    EXPECT_TRUE(install_servers(servers, "beta", &change, &error)) << error;
    return change;
  }
  // The library's own way of filling its working lists: with copies from server_list_head.
  static void add_to(ty_svrlist** list, const Texts& names) {
    for (const std::string& name : names) {
      const ty_svrlist* node = server_list_head;
      while (node != nullptr && name != node->svr_name) node = node->next;
      ASSERT_NE(nullptr, node) << name;
      ASSERT_EQ(0, add_to_server_list(list, node));
    }
  }
  static void expect_nothing_in(const MembershipChange& change) {
    EXPECT_EQ(Texts{}, change.added);
    EXPECT_EQ(Texts{}, change.removed);
    EXPECT_EQ(Texts{}, change.changed);
    EXPECT_FALSE(change.own_addresses_changed);
  }
};

// ---- the first time -----------------------------------------------------------------------------

TEST_F(Membership, FirstInstallationMakesTheListsInTheOrderGiven) {
  const MembershipChange change = install(kThree);
  EXPECT_EQ((Texts{"alpha 10.0.0.1/0 10.1.0.1/1", "beta 10.0.0.2/0 10.1.0.2/1",
                   "gamma 10.0.0.3/0 10.1.0.3/1"}),
            content_of(server_list_head));
  EXPECT_EQ(Texts{"beta 10.0.0.2/0 10.1.0.2/1"}, content_of(local_svr));
  EXPECT_EQ((Texts{"alpha", "gamma"}), change.added);
  EXPECT_EQ(Texts{}, change.removed);
  EXPECT_EQ(Texts{}, change.changed);
  EXPECT_TRUE(change.own_addresses_changed);
}

TEST_F(Membership, FirstInstallationLeavesTheWorkingListsToTheStart) {
  install(kThree);
  EXPECT_EQ(nullptr, new_server_list);
  EXPECT_EQ(nullptr, servers_not_reply);
}

TEST_F(Membership, ServerAloneHasListsOfItself) {
  const MembershipChange change = install({{"beta", {}}});
  EXPECT_EQ(Texts{"beta"}, content_of(server_list_head));
  EXPECT_EQ(Texts{"beta"}, content_of(local_svr));
  EXPECT_EQ(Texts{}, change.added);
}

TEST_F(Membership, LargestClusterWithTheLongestTextsIsTakenWhole) {
  const std::string longest = "1111:2222:3333:4444:5555:6666:7777:8";
  Servers servers;
  for (int i = 100; i < 200; ++i) {
    ServerEntry& entry = servers.emplace_back();
    entry.name = std::string(61, 'n') + std::to_string(i);
    for (int n = 0; n < 8; ++n) {
      entry.addresses.push_back({longest + std::to_string(i), 2147483647 - n});
    }
  }
  MembershipChange change;
  std::string error;
  ASSERT_TRUE(install_servers(servers, servers[50].name, &change, &error)) << error;
  EXPECT_EQ(99U, change.added.size());
  const ty_svrlist* node = server_list_head;
  for (const ServerEntry& entry : servers) {
    ASSERT_NE(nullptr, node);
    EXPECT_EQ(entry.name, node->svr_name);
    ASSERT_EQ(8, node->ip_num);
    EXPECT_EQ(entry.addresses[7].ip, node->ip_addr[7].ip);
    EXPECT_EQ(2147483640, node->ip_addr[7].device_id);
    node = node->next;
  }
  EXPECT_EQ(nullptr, node);
}

TEST_F(Membership, ListWithoutThisServerIsRefusedAndChangesNothing) {
  install(kThree);
  add_to(&new_server_list, {"alpha"});
  const auto before = whole_state();
  MembershipChange change;
  std::string error;
  EXPECT_FALSE(install_servers({server("alpha", 1)}, "beta", &change, &error));
  EXPECT_NE(std::string::npos, error.find("\"beta\"")) << error;
  EXPECT_EQ(before, whole_state());
}

// ---- changes ------------------------------------------------------------------------------------

TEST_F(Membership, SameServersAgainTouchNothing) {
  install(kThree);
  add_to(&new_server_list, {"alpha", "gamma"});
  g_sync_step = REQ_DATA;
  const ty_svrlist* const node = server_list_head;
  const ty_svrlist* const peer = new_server_list;
  alt_test::LogCapture::instance().clear();
  expect_nothing_in(install(kThree));
  EXPECT_EQ(node, server_list_head);
  EXPECT_EQ(peer, new_server_list);
  EXPECT_EQ(REQ_DATA, g_sync_step);
  EXPECT_EQ(Texts{}, alt_test::LogCapture::instance().texts(4));
}

TEST_F(Membership, OtherOrderIsTakenWithoutCountingAsAChange) {
  install(kThree);
  add_to(&new_server_list, {"alpha", "gamma"});
  expect_nothing_in(install({kThree[2], kThree[0], kThree[1]}));
  EXPECT_EQ((Texts{"gamma", "alpha", "beta"}), names_of(server_list_head));
  EXPECT_EQ((Texts{"alpha", "gamma"}), names_of(new_server_list));
}

TEST_F(Membership, AddedServersAreSynchronisedWithAfterTheOthers) {
  install(kThree);
  add_to(&new_server_list, {"gamma"});
  add_to(&servers_not_reply, {"gamma"});
  const MembershipChange change =
      install({server("delta", 4), kThree[0], kThree[1], kThree[2], server("eps", 5)});
  EXPECT_EQ((Texts{"delta", "eps"}), change.added);
  EXPECT_EQ((Texts{"gamma", "delta", "eps"}), names_of(new_server_list));
  EXPECT_EQ("delta 10.0.0.4/0 10.1.0.4/1", content_of(new_server_list)[1]);
  EXPECT_EQ(Texts{"gamma"}, names_of(servers_not_reply));
  EXPECT_EQ((Texts{"delta", "alpha", "beta", "gamma", "eps"}), names_of(server_list_head));
  EXPECT_FALSE(change.own_addresses_changed);
}

TEST_F(Membership, RemovedServersLeaveEveryList) {
  install({kThree[0], kThree[1], kThree[2], server("delta", 4)});
  add_to(&new_server_list, {"gamma", "alpha", "delta"});
  add_to(&servers_not_reply, {"alpha", "gamma"});
  const MembershipChange change = install({kThree[1], server("delta", 4)});
  EXPECT_EQ((Texts{"alpha", "gamma"}), change.removed);
  EXPECT_EQ((Texts{"beta", "delta"}), names_of(server_list_head));
  EXPECT_EQ(Texts{"delta"}, names_of(new_server_list));
  EXPECT_EQ(nullptr, servers_not_reply);
}

TEST_F(Membership, ServerThatComesBackIsAddedAnew) {
  install(kThree);
  add_to(&new_server_list, {"gamma"});
  install({kThree[0], kThree[1]});
  EXPECT_EQ(Texts{"gamma"}, install(kThree).added);
  EXPECT_EQ(Texts{"gamma"}, names_of(new_server_list));
}

TEST_F(Membership, ChangedServersKeepTheirPlacesInTheWorkingLists) {
  install({kThree[0], kThree[1], kThree[2], server("delta", 4)});
  add_to(&new_server_list, {"delta", "alpha", "gamma"});
  add_to(&servers_not_reply, {"alpha", "delta"});
  const ServerEntry moved = {"alpha", {{"fd00::1", 1}}};
  const MembershipChange change = install({moved, kThree[1], kThree[2], server("delta", 4)});
  EXPECT_EQ(Texts{"alpha"}, change.changed);
  EXPECT_EQ(Texts{}, change.added);
  EXPECT_EQ(Texts{}, change.removed);
  EXPECT_EQ(
      (Texts{"delta 10.0.0.4/0 10.1.0.4/1", "alpha fd00::1/1", "gamma 10.0.0.3/0 10.1.0.3/1"}),
      content_of(new_server_list));
  EXPECT_EQ((Texts{"alpha fd00::1/1", "delta 10.0.0.4/0 10.1.0.4/1"}),
            content_of(servers_not_reply));
}

TEST_F(Membership, OtherInterconnectOrOrderOfAddressesCountsAsAChange) {
  install(kThree);
  ServerEntry other = kThree[0];
  other.addresses[1].interconnect = 2;
  EXPECT_EQ(Texts{"alpha"}, install({other, kThree[1], kThree[2]}).changed);
  std::swap(other.addresses[0], other.addresses[1]);
  EXPECT_EQ(Texts{"alpha"}, install({other, kThree[1], kThree[2]}).changed);
}

TEST_F(Membership, OwnAddressesThatChangeAreTold) {
  install(kThree);
  const MembershipChange change = install({kThree[0], server("beta", 9), kThree[2]});
  EXPECT_TRUE(change.own_addresses_changed);
  EXPECT_EQ(Texts{}, change.changed);
  EXPECT_EQ(Texts{"beta 10.0.0.9/0 10.1.0.9/1"}, content_of(local_svr));
  EXPECT_EQ("beta 10.0.0.9/0 10.1.0.9/1", content_of(server_list_head)[1]);
  EXPECT_EQ(nullptr, new_server_list);
}

// The first entry of new_server_list may stand there again, to be tried once more.
TEST_F(Membership, SecondCopyOfThePeerIsKept) {
  install(kThree);
  add_to(&new_server_list, {"alpha", "gamma", "alpha"});
  install({kThree[0], kThree[1], server("gamma", 7)});
  EXPECT_EQ((Texts{"alpha", "gamma", "alpha"}), names_of(new_server_list));
  install({server("alpha", 8), kThree[1], server("gamma", 7)});
  const Texts content = content_of(new_server_list);
  ASSERT_EQ(3U, content.size());
  EXPECT_EQ("alpha 10.0.0.8/0 10.1.0.8/1", content[0]);
  EXPECT_EQ("alpha 10.0.0.8/0 10.1.0.8/1", content[2]);
  install({kThree[1], server("gamma", 7)});
  EXPECT_EQ(Texts{"gamma"}, names_of(new_server_list));
}

// ---- a resynchronisation that runs --------------------------------------------------------------

class RunningResynchronisation : public Membership, public ::testing::WithParamInterface<int> {
 protected:
  RunningResynchronisation() {
    install(kThree);
    add_to(&new_server_list, {"alpha", "gamma"});
    g_sync_step = GetParam();
  }
};
INSTANTIATE_TEST_SUITE_P(Membership, RunningResynchronisation,
                         ::testing::Values(RESYN_START, REQ_NAME, RCV_NAME, REQ_ALTID, RCV_ALTID,
                                           REQ_DATA));

TEST_P(RunningResynchronisation, EndsWhenItsPeerIsRemoved) {
  install({kThree[1], kThree[2]});
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(1, check_newsvr_flag);
  EXPECT_EQ(Texts{"gamma"}, names_of(new_server_list));
}

TEST_P(RunningResynchronisation, EndsWhenItsPeerHasOtherAddresses) {
  install({server("alpha", 9), kThree[1], kThree[2]});
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(1, check_newsvr_flag);
  EXPECT_EQ((Texts{"alpha", "gamma"}), names_of(new_server_list));
}

TEST_P(RunningResynchronisation, GoesOnWhenOthersChange) {
  install({kThree[0], server("beta", 9), server("gamma", 9), server("delta", 4)});
  EXPECT_EQ(GetParam(), g_sync_step);
  install({kThree[0], server("beta", 9)});
  EXPECT_EQ(GetParam(), g_sync_step);
  EXPECT_EQ(0, check_newsvr_flag);
  EXPECT_EQ(Texts{"alpha"}, names_of(new_server_list));
}

TEST_F(Membership, NoResynchronisationIsEndedWhenNoneRuns) {
  install(kThree);
  add_to(&new_server_list, {"alpha"});
  install({kThree[1], kThree[2]});
  EXPECT_EQ(0, check_newsvr_flag);
}

// ---- memory -------------------------------------------------------------------------------------

class ScarceMemory : public Membership, public ::testing::WithParamInterface<alt_test::Site> {};
INSTANTIATE_TEST_SUITE_P(Membership, ScarceMemory,
                         ::testing::Values(alt_test::Site::kAllocate, alt_test::Site::kCopyText));

TEST_P(ScarceMemory, ChangesNothingUntilThereIsEnough) {
  install({kThree[0], kThree[1], kThree[2], server("delta", 4)});
  add_to(&new_server_list, {"alpha", "gamma", "delta", "alpha"});
  add_to(&servers_not_reply, {"gamma", "delta"});
  g_sync_step = REQ_DATA;
  const auto before = whole_state();
  int refused = 0;
  const int faults = alt_test::for_each_call(
      GetParam(), ENOMEM, [&] { ASSERT_EQ(before, whole_state()); },
      [&] {
        MembershipChange change;
        std::string error;
        if (install_servers({server("alpha", 9), kThree[1], kThree[2], server("eps", 5)}, "beta",
                            &change, &error)) {
          return;
        }
        ++refused;
        EXPECT_EQ("not enough memory for the list of servers", error);
        EXPECT_EQ(Texts{}, change.added);
      });
  // The four servers; this one; alpha, gamma, alpha and eps to synchronise with; gamma silent.
  EXPECT_EQ(10, faults);
  EXPECT_EQ(faults, refused);
  EXPECT_NE(before, whole_state());
  EXPECT_EQ((Texts{"alpha", "gamma", "alpha", "eps"}), names_of(new_server_list));
}

TEST_F(Membership, ReleaseFreesEveryList) {
  install(kThree);
  ty_svrlist** const lists[] = {&server_list_head, &local_svr,
                                &new_server_list,  &servers_not_reply,
                                &sync_server_list, &servers_alert_msg_not_reply};
  for (ty_svrlist** list : lists) ASSERT_EQ(0, add_to_server_list(list, local_svr));
  release_servers();
  for (ty_svrlist** list : lists) EXPECT_EQ(nullptr, *list);
  release_servers();
}

}  // namespace
}  // namespace qel::daemon_test

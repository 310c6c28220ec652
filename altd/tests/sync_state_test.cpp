// What happens to the state of the synchronisation when the local log has to be filled.
#include <gtest/gtest.h>

#include "alert_msg.h"
#include "support/cluster.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

class SyncState : public StoreTest {
 protected:
  SyncState() { set_all(1, 0, 1); }
  ~SyncState() override { set_all(0, 0, 0); }

  static void set_all(int wanted, int counting, int writing) {
    get_maxalertid_localserver_now = wanted;
    start_count_time_for_maxalertid_localserver = counting;
    start_write_local_logfile = writing;
  }
};

TEST_F(SyncState, DaemonStopsLocalWritingAndWaitsForTheReplies) {
  const Cluster cluster("node1", {"node2"});
  add_to_new_serverlist_all();
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
  EXPECT_EQ(start_write_local_logfile, 0);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
}

TEST_F(SyncState, EveryOtherServerIsToBeSynchronisedWith) {
  const Cluster cluster("node1", {"node2", "node3", "node4"});
  add_to_new_serverlist_all();
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3", "node4"}));
}

TEST_F(SyncState, ServersThatWaitAlreadyAreNotAddedAgainExceptTheFirst) {
  const Cluster cluster("node1", {"node2", "node3", "node4"});
  add_to_new_serverlist_all();
  add_to_new_serverlist_all();
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3", "node4", "node2"}));
}

TEST_F(SyncState, ListHoldsCopies) {
  const Cluster cluster("node1", {"node2"});
  add_to_new_serverlist_all();
  EXPECT_NE(new_server_list, server_list_head->next);
  EXPECT_NE(new_server_list->svr_name, server_list_head->next->svr_name);
}

TEST_F(SyncState, ServerAloneHasNobodyToSynchroniseWith) {
  const Cluster cluster("node1");
  add_to_new_serverlist_all();
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
}

TEST_F(SyncState, OutsideTheDaemonNothingChanges) {
  add_to_new_serverlist_all();
  EXPECT_TRUE(log_.has(kFailures, "local_svr is NULL"));
  EXPECT_EQ(get_maxalertid_localserver_now, 1);
  EXPECT_EQ(start_write_local_logfile, 1);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 0);
  EXPECT_EQ(new_server_list, nullptr);
}

}  // namespace
}  // namespace alt_test

// A local log that has to be filled from the cluster: the peers are asked for this server's highest
// id, and every one of them is to be synchronised with.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

class FillFromCluster : public ProtocolTest {};

TEST_F(FillFromCluster, EachAddressOfEachPeerIsAskedOneSequenceAPeer) {
  sequencenum = 40;
  add_to_new_serverlist_all();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x8 40", "127.0.2.1 > 127.0.2.2 0x8 40",
                              "127.0.1.1 > 127.0.1.3 0x8 41", "127.0.2.1 > 127.0.2.3 0x8 41"}));
  EXPECT_EQ(sequencenum, 42U);
  EXPECT_TRUE(waits_for(40) && waits_for(41));
}

TEST_F(FillFromCluster, PeersAreAskedForTheHighestIdOfTheLocalServer) {
  release_svrlist(&server("node2")->next);
  cut_off(server("node2"), 1);
  add_to_new_serverlist_all();
  expect_only(kOwn[0], kNode2[0],
              datagram({.type = 8, .sequence = 1, .dst = kNode2[0], .reserve2 = 1},
                       sync_payload({.sync_svr = "node1"})));
}

TEST_F(FillFromCluster, LocalWritingWaitsForTheAnswers) {
  start_write_local_logfile = 1;
  get_maxalertid_localserver_now = 1;
  add_to_new_serverlist_all();
  EXPECT_EQ(start_write_local_logfile, 0);
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
}

TEST_F(FillFromCluster, PeersThatCannotBeReachedAreSynchronisedWithLater) {
  cut_off(server("node2"));
  cut_off(server("node3"));
  add_to_new_serverlist_all();
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
  EXPECT_FALSE(log_.has(kFailures, "send request all alert id message failed"));
}

TEST_F(FillFromCluster, WithoutMemoryForTheQuestionThePeersAreSynchronisedWithAllTheSame) {
  const Fault fault(Site::kAllocate, ENOMEM, 0, 1);
  add_to_new_serverlist_all();
  EXPECT_EQ(fault.hits(), 1);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
  EXPECT_TRUE(log_.has(kFailures, "send request all alert id message failed"));
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
}

TEST_F(FillFromCluster, WithoutALocalServerNobodyIsAsked) {
  release_svrlist(&local_svr);
  start_write_local_logfile = 1;
  add_to_new_serverlist_all();
  EXPECT_EQ(log_.texts(kFailures), Texts{"local_svr is NULL"});
  EXPECT_EQ(start_write_local_logfile, 1);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 0);
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_EQ(requests_waiting(), 0);
}

// As it comes about: the log is missing when it is opened for the first time.
TEST_F(FillFromCluster, NewLogAsksTheCluster) {
  remove_file(path("alertlog.alt"));
  const int fd = open_file("alertlog.alt", O_RDWR);
  ASSERT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(arrived().size(), 4U);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
}

}  // namespace
}  // namespace alt_test

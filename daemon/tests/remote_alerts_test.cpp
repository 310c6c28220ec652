// Alerts of other servers: stored, on the disk, then acknowledged.
#include "cluster/remote_alerts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "alert_log/layout.h"
#include "catch_up_fixture.h"
#include "file_limit.h"
#include "sync_watch.h"

namespace qel::daemon_test {
namespace {

using alt_test::alert_payload;
using alt_test::datagram;

const std::string kAckTo2 = "127.0.1.1 > 127.0.1.2 0x10000001 ";
const std::string kAckTo3 = "127.0.1.1 > 127.0.1.3 0x10000001 ";

class RemoteAlertsTest : public ClusterTest {
 protected:
  static Arrival alert_from(const char* from, const ALERT_RECORD_INFO& alert, uint32_t sequence) {
    return Arrival(
        from, datagram({.type = 0x1, .sequence = sequence, .reserve2 = 1}, alert_payload(alert)));
  }
  // The alert of node2 with this id, in a request of this sequence.
  static Arrival alert_of_node2(uint32_t id, uint32_t sequence) {
    return alert_from(kNode2[0], alert_of("node2", id), sequence);
  }
  void receive_alert(uint32_t id, uint32_t sequence) {
    receive_together({alert_of_node2(id, sequence)});
  }

  uint64_t log_size() const { return std::filesystem::file_size(path("alertlog.alt")); }
  // The log ends where its counted lines end; any other would be thrown away by the next open.
  void expect_log_fits_its_header() const {
    const auto numbers = alt_test::read_log_numbers(path("alertlog.alt"));
    const std::string content = *alt_test::read_file(path("alertlog.alt"));
    const size_t header = content.find("\n\n") + 2;
    EXPECT_EQ(header + numbers.count * kRecordLine, content.size());
  }
  long times_held(const std::string& alert) const {
    const Texts all = held();
    return std::count(all.begin(), all.end(), alert);
  }
};

// ---- in which order -----------------------------------------------------------------------------

TEST_F(RemoteAlertsTest, AlertIsStoredThenOnTheDiskThenAcknowledged) {
  Texts held_at_sync;
  Texts sent_before_sync;
  SyncWatch disk([&] {
    held_at_sync = held();
    sent_before_sync = arrived();
    return 0;
  });
  receive_alert(7, 100);
  EXPECT_EQ(1, disk.calls());
  EXPECT_EQ(Texts{"node2:7"}, held_at_sync);
  EXPECT_EQ(Texts{}, sent_before_sync);
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
  EXPECT_EQ(1U, protocol_.stored());
}

TEST_F(RemoteAlertsTest, AlertsOfOneBatchShareOneSync) {
  Texts held_at_sync;
  SyncWatch disk([&] {
    held_at_sync = held();
    return 0;
  });
  receive_together({alert_of_node2(7, 100), alert_from(kNode3[0], alert_of("node3", 7), 5),
                    alert_of_node2(8, 101)});
  EXPECT_EQ(1, disk.calls());
  EXPECT_EQ((Texts{"node2:7", "node3:7", "node2:8"}), held_at_sync);
  EXPECT_EQ((Texts{kAckTo2 + "100", kAckTo2 + "101", kAckTo3 + "5"}), arrived());
}

TEST_F(RemoteAlertsTest, AlertThatComesOnTwoPathsIsStoredOnceAndAcknowledgedOnBoth) {
  receive_together({alert_of_node2(7, 100),
                    Arrival(kNode2[1], datagram({.type = 0x1, .sequence = 100, .reserve2 = 2},
                                                alert_payload(alert_of("node2", 7))))});
  EXPECT_EQ(Texts{"node2:7"}, held());
  EXPECT_EQ((Texts{kAckTo2 + "100", "127.0.2.1 > 127.0.2.2 0x10000001 100"}), arrived());
  EXPECT_EQ(1U, protocol_.stored());
}

TEST_F(RemoteAlertsTest, AlertThatIsHeldAlreadyIsAcknowledgedWithoutASync) {
  receive_alert(7, 100);
  arrived();
  const SyncWatch disk;
  receive_alert(7, 100);
  EXPECT_EQ(0, disk.calls());
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
  EXPECT_EQ(Texts{"node2:7"}, held());
}

// A daemon that was killed may have stored it without having synced it.
TEST_F(RemoteAlertsTest, AlertOfAnEarlierLifeIsOnTheDiskBeforeItIsAcknowledged) {
  hold("node2", {7});
  Texts sent_before_sync = {"none was made"};
  const SyncWatch disk([&] {
    sent_before_sync = arrived();
    return 0;
  });
  receive_alert(7, 100);
  EXPECT_EQ(1, disk.calls());
  EXPECT_EQ(Texts{}, sent_before_sync);
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
}

TEST_F(RemoteAlertsTest, NewAlertEventIsRaisedForWhatIsNew) {
  event_.raised();
  receive_alert(7, 100);
  EXPECT_TRUE(event_.raised());
  receive_alert(7, 100);
  EXPECT_FALSE(event_.raised());
}

// ---- the disk -----------------------------------------------------------------------------------

TEST_F(RemoteAlertsTest, AlertThatDoesNotReachTheDiskIsAcknowledgedWhenItsRepetitionDoes) {
  {
    const SyncWatch broken([] { return EIO; });
    receive_alert(7, 100);
    EXPECT_EQ(1, broken.calls());
  }
  EXPECT_EQ(Texts{"node2:7"}, held());
  EXPECT_EQ(Texts{}, arrived());
  const SyncWatch disk;
  receive_alert(7, 100);
  EXPECT_EQ(1, disk.calls()) << "what was stored before did not reach the disk";
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
  EXPECT_EQ(Texts{"node2:7"}, held());
  EXPECT_EQ(1U, protocol_.stored());
}

TEST_F(RemoteAlertsTest, FailedSyncIsTriedAgainByTheNextTick) {
  {
    const SyncWatch broken([] { return EIO; });
    receive_alert(7, 100);
  }
  EXPECT_TRUE(
      log_.has(alt_test::kFailures, "the alert log does not reach the disk: Input/output error"));
  const SyncWatch disk;
  protocol_.tick();
  EXPECT_EQ(1, disk.calls());
  protocol_.tick();
  EXPECT_EQ(1, disk.calls());
}

TEST_F(RemoteAlertsTest, DaemonThatIsToldToDoWithoutAcknowledgesWithoutASync) {
  settings_.durable = false;
  const SyncWatch disk;
  receive_alert(7, 100);
  EXPECT_EQ(0, disk.calls());
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
}

// ---- alerts that cannot be stored ---------------------------------------------------------------

// Each write of a store fails: of the line, of the header, of an index.
class FailingWrites : public RemoteAlertsTest, public ::testing::WithParamInterface<int> {
 protected:
  FailingWrites() {
    make_log(GetParam());
    for (uint32_t id = 1; id <= last_; ++id) receive_alert(id, id);
    arrived();
  }
  void receive_next() {
    ++last_;
    receive_alert(last_, last_);
  }
  // After a fault: what was acknowledged is held, and the repetition stores what was not.
  void expect_stored_once_in_the_end() {
    const std::string alert = "node2:" + std::to_string(last_);
    expect_log_fits_its_header();
    if (!arrived().empty()) {
      EXPECT_EQ(1, times_held(alert)) << alert;
    }
    let_a_second_pass();
    receive_alert(last_, last_);
    EXPECT_EQ(Texts{kAckTo2 + std::to_string(last_)}, arrived());
    EXPECT_EQ(1, times_held(alert)) << alert;
  }

  uint32_t last_ = 4;
};
INSTANTIATE_TEST_SUITE_P(OfALogWithRoomAndOfAFullOne, FailingWrites, ::testing::Values(100, 4));

TEST_P(FailingWrites, CostNoAlertAndLeaveNoneTwice) {
  const int faults = alt_test::for_each_call(
      alt_test::Site::kWrite, ENOSPC, [&] { expect_stored_once_in_the_end(); },
      [&] { receive_next(); });
  EXPECT_LT(8, faults);
}

TEST_P(FailingWrites, OfADiskThatStaysFullCostNoAlertAndLeaveNoneTwice) {
  constexpr int kWritesMax = 200;
  int hits = 1;
  int writes = 0;
  for (; hits > 0 && writes < kWritesMax; ++writes) {
    {
      const alt_test::Fault full_disk(alt_test::Site::kWrite, ENOSPC, writes);
      receive_next();
      receive_alert(last_, last_);
      protocol_.tick();
      hits = full_disk.hits();
    }
    expect_stored_once_in_the_end();
  }
  EXPECT_LT(8, writes);
  EXPECT_EQ(0, hits);
}

// The log takes two lines and a part of a third.
class FullDiskForOthers : public RemoteAlertsTest, public ::testing::WithParamInterface<size_t> {};
INSTANTIATE_TEST_SUITE_P(WithRoomFor, FullDiskForOthers, ::testing::Values(0, 1, 300, 683));

TEST_P(FullDiskForOthers, AlertWithoutRoomIsNotAcknowledgedAndLeavesNothing) {
  make_log(100);
  for (uint32_t id = 1; id <= 20; ++id) receive_alert(id, id);
  arrived();
  {
    const FileLimit limit(log_size() + 2 * kRecordLine + GetParam());
    receive_together({alert_of_node2(21, 21), alert_of_node2(22, 22), alert_of_node2(23, 23)});
  }
  EXPECT_EQ((Texts{kAckTo2 + "21", kAckTo2 + "22"}), arrived());
  EXPECT_EQ(22U, held().size());
  expect_log_fits_its_header();
  receive_alert(23, 23);
  EXPECT_EQ(Texts{kAckTo2 + "23"}, arrived());
  EXPECT_EQ(23U, held().size());
}

TEST_F(RemoteAlertsTest, AlertWithABlankTextIsAcknowledgedAndNotCounted) {
  ALERT_RECORD_INFO blank = alert_of("node2", 7);
  blank.szModType[0] = '\0';
  receive_together({alert_from(kNode2[0], blank, 100)});
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
  EXPECT_EQ(Texts{}, held());
  EXPECT_EQ(0U, protocol_.stored());
}

TEST_F(RemoteAlertsTest, AlertIsNotAcknowledgedWhileItIsUnknownWhetherItIsHeld) {
  receive_alert(7, 100);
  arrived();
  spoil("srv_alt_id.idx");
  alt_test::write_file(path("srv_alt_id.idx/in the way"), "");
  receive_alert(7, 100);
  EXPECT_EQ(Texts{}, arrived());
  alt_test::remove_tree(path("srv_alt_id.idx"));
  let_a_second_pass();
  receive_alert(7, 100);
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
  EXPECT_EQ(Texts{"node2:7"}, held());
}

TEST_F(RemoteAlertsTest, UnreadableIndexOfTheIdsIsBuiltAgain) {
  receive_alert(7, 100);
  arrived();
  const std::string index = path("srv_alt_id.idx");
  alt_test::write_file(index, std::string(alt_test::read_file(index)->size(), '#'));
  receive_alert(8, 101);
  EXPECT_EQ(Texts{kAckTo2 + "101"}, arrived());
  EXPECT_EQ((Texts{"node2:7", "node2:8"}), held());
}

// ---- a full log ---------------------------------------------------------------------------------

class FullLogOfOthers : public RemoteAlertsTest {
 protected:
  FullLogOfOthers() {
    make_log(4);
    hold("node1", {105, 106, 107, 108});
  }
};

TEST_F(FullLogOfOthers, OldestAlertMakesRoom) {
  receive_alert(120, 100);
  EXPECT_EQ((Texts{"node2:120", "node1:106", "node1:107", "node1:108"}), held());
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
  EXPECT_FALSE(daemon::RedoRecord::left_over().has_value()) << "the store is over";
}

TEST_F(FullLogOfOthers, AlertThatCannotBeKeptAsideIsNotStored) {
  spoil("qelalertd.redo");
  receive_alert(120, 100);
  EXPECT_EQ((Texts{"node1:105", "node1:106", "node1:107", "node1:108"}), held());
  EXPECT_EQ(Texts{}, arrived());
  mend("qelalertd.redo");
  receive_alert(120, 100);
  EXPECT_EQ(1, times_held("node2:120"));
  EXPECT_EQ(Texts{kAckTo2 + "100"}, arrived());
}

// Alerts that are older than all that is held take each other's place.
TEST_F(FullLogOfOthers, AlertsOfOneBatchThatReplaceEachOtherAreAllAcknowledged) {
  receive_together({alert_of_node2(1, 100), alert_of_node2(2, 101), alert_of_node2(3, 102)});
  EXPECT_EQ((Texts{kAckTo2 + "100", kAckTo2 + "101", kAckTo2 + "102"}), arrived());
}

// ---- data replies -------------------------------------------------------------------------------

class DataReplies : public CatchUpTest {
 protected:
  // The request 3 for the alerts of node3 from 1 on has left.
  DataReplies() { lead(); }
  void lead() {
    lead_to_data("node3", 12);
    wire_.take();
  }
};

TEST_F(DataReplies, WithAnAlertThatCannotBeStoredIsAskedForAgain) {
  {
    const alt_test::Fault full_disk(alt_test::Site::kWrite, ENOSPC);
    alerts_come("node3", {1, 2, 3, 4});
  }
  EXPECT_EQ(REQ_DATA, g_sync_step);
  EXPECT_EQ(1U, sync_single_data.alert_id);
  EXPECT_EQ(Texts{"0x7 3"}, outstanding_requests());
  EXPECT_EQ(Texts{}, sent());
  EXPECT_EQ(Texts{}, held());
  let_a_second_pass();
  alerts_come("node3", {1, 2, 3, 4});
  EXPECT_EQ(Texts{"127.0.1.2 0x7 4 from 5"}, sent());
  EXPECT_EQ((Texts{"node3:1", "node3:2", "node3:3", "node3:4"}), held());
}

TEST_F(DataReplies, AlertsBeforeTheOneThatCannotBeStoredStay) {
  make_log(100);
  {
    const FileLimit limit(alt_test::read_file(path("alertlog.alt"))->size() + 2 * kRecordLine);
    alerts_come("node3", {1, 2, 3, 4});
  }
  EXPECT_EQ(Texts{"0x7 3"}, outstanding_requests());
  EXPECT_EQ((Texts{"node3:1", "node3:2"}), held());
}

TEST_F(DataReplies, SecondOneInABatchLeadsToNoSecondRequest) {
  const std::string reply = datagram({.type = 0x10000007, .sequence = 3, .reserve1 = 1},
                                     alt_test::data_payload({alert_of("node3", 1)}));
  receive_together({Arrival(kNode2[0], reply), Arrival(kNode2[1], reply)});
  EXPECT_EQ(Texts{"127.0.1.2 0x7 4 from 2"}, sent());
  EXPECT_EQ(Texts{"0x7 4"}, outstanding_requests());
  EXPECT_EQ(1U, refused(daemon::Refusal::kLateReply));
}

TEST_F(DataReplies, AlertsReachTheDiskWithTheNextTick) {
  const SyncWatch disk;
  alerts_come("node3", {1, 2, 3, 4});
  EXPECT_EQ(0, disk.calls());
  protocol_.tick();
  EXPECT_EQ(1, disk.calls());
}

TEST_F(DataReplies, NewAlertEventIsRaised) {
  event_.raised();
  alerts_come("node3", {1});
  EXPECT_TRUE(event_.raised());
}

}  // namespace
}  // namespace qel::daemon_test

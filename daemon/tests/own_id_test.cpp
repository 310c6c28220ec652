// From which id on this server's alerts are numbered, and when they may be stored.
#include <gtest/gtest.h>

#include "alert_udp.h"
#include "cluster/protocol.h"
#include "cluster_fixture.h"

namespace qel::daemon_test {
namespace {

using alt_test::names_of;

class OwnId : public ClusterTest {
 protected:
  uint32_t header_id() const {
    return alt_test::read_log_numbers(path("alertlog.alt")).current_alert_id;
  }
  // The other servers' answers to the questions 1 and 2 of the start.
  void node2_tells(uint32_t id) { tell(kNode2[0], 1, id); }
  void node3_tells(uint32_t id) { tell(kNode3[1], 2, id); }
  void tell(const char* from, uint32_t sequence, uint32_t id, const std::string& about = "node1") {
    receive(from, {.type = 0x10000008, .sequence = sequence},
            alt_test::sync_payload({.alert_id = id, .sync_svr = about, .reply_svr = "another"}));
  }
  void wait_is_over() { tick_with(&get_maxalertid_localserver_now); }

  // As after the loss of the log: opening it makes a new one.
  void start_with_a_new_log() {
    alt_test::remove_file(path("alertlog.alt"));
    daemon::Protocol::prepare();
    ASSERT_EQ(0, check_file_size());
    protocol_.start();
  }
};

const Texts kQuestions = {"127.0.1.1 > 127.0.1.2 0x8 1", "127.0.2.1 > 127.0.2.2 0x8 1",
                          "127.0.1.1 > 127.0.1.3 0x8 2", "127.0.2.1 > 127.0.2.3 0x8 2"};

// ---- the start ----------------------------------------------------------------------------------

TEST_F(OwnId, OtherServersAreAskedBeforeTheLogIsWritten) {
  protocol_.start();
  EXPECT_EQ(0, start_write_local_logfile);
  EXPECT_EQ(kQuestions, arrived());
  EXPECT_EQ(1, start_count_time_for_maxalertid_localserver);
}

TEST_F(OwnId, LogIsWrittenAtOnceWhenTheLastServerHasAnswered) {
  protocol_.start();
  node2_tells(41);
  EXPECT_EQ(0, start_write_local_logfile);
  EXPECT_FALSE(log_.has(alt_test::kTrace, "host drains the intake"));
  node3_tells(40);
  EXPECT_EQ(1, start_write_local_logfile);
  EXPECT_EQ(0, start_count_time_for_maxalertid_localserver);
  EXPECT_EQ(41U, header_id());
  EXPECT_TRUE(log_.has(alt_test::kTrace, "host drains the intake"));
}

TEST_F(OwnId, LogThatWasThereDoesNotWaitAnyLongerForSilentServers) {
  protocol_.start();
  node2_tells(41);
  wait_is_over();
  EXPECT_EQ(1, start_write_local_logfile);
  EXPECT_EQ(41U, header_id());
}

TEST_F(OwnId, AnswerThatComesAfterTheWaitIsAdoptedAsWell) {
  protocol_.start();
  wait_is_over();
  node2_tells(41);
  node3_tells(52);
  wait_is_over();
  EXPECT_EQ(52U, header_id());
}

TEST_F(OwnId, ServerAloneWritesAtOnceAndAsksNobody) {
  keep_only_the_local_server();
  protocol_.start();
  EXPECT_EQ(1, start_write_local_logfile);
  EXPECT_EQ(Texts{}, outstanding_requests());
}

TEST_F(OwnId, NewLogIsNotWrittenBeforeTheOthersWereAsked) {
  start_with_a_new_log();
  EXPECT_EQ(0, start_write_local_logfile);
  EXPECT_EQ(kQuestions, arrived());
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
  EXPECT_EQ(1, check_newsvr_flag);
}

TEST_F(OwnId, OwnAlertsThatTheLogHoldsCountWithTheirIds) {
  ALERT_RECORD_INFO fetched = alert_of("node1", 70);
  alt_test::store(fetched, 0);
  ASSERT_EQ(0U, header_id());
  protocol_.start();
  EXPECT_EQ(70U, header_id());
}

// ---- adoption -----------------------------------------------------------------------------------

TEST_F(OwnId, NewLogWaitsUntilEveryServerHasAnswered) {
  start_with_a_new_log();
  node2_tells(41);
  wait_is_over();
  EXPECT_EQ(0, start_write_local_logfile);
  EXPECT_EQ(1, start_count_time_for_maxalertid_localserver) << "the wait is not armed again";
  node3_tells(52);
  EXPECT_EQ(1, start_write_local_logfile);
  EXPECT_EQ(52U, header_id());
}

TEST_F(OwnId, ServerThatIsGivenUpIsNotWaitedForAnyLonger) {
  start_with_a_new_log();
  node2_tells(41);
  let_requests_expire();
  tick_with(&drop_now);
  wait_is_over();
  EXPECT_EQ(1, start_write_local_logfile);
  EXPECT_EQ(41U, header_id());
}

TEST_F(OwnId, AnswerAboutAnotherServerIsNoAnswer) {
  start_with_a_new_log();
  node2_tells(41);
  tell(kNode3[0], 2, 99, "node3");
  wait_is_over();
  EXPECT_EQ(0, start_write_local_logfile);
  EXPECT_EQ(41U, max_alertid_localserver);
}

TEST_F(OwnId, IdOfTheHeaderIsNeverLowered) {
  hold("node1", {50});
  protocol_.start();
  node2_tells(7);
  wait_is_over();
  EXPECT_EQ(50U, header_id());
  EXPECT_TRUE(log_.has(alt_test::kNotable, "alert ids of this server go on after 50"));
}

TEST_F(OwnId, IdThatCannotBeKeptIsTriedAgainWithTheNextTick) {
  start_with_a_new_log();
  node2_tells(41);
  {
    const alt_test::Fault full_disk(alt_test::Site::kWrite, ENOSPC);
    node3_tells(0);
  }
  EXPECT_EQ(0, start_write_local_logfile);
  EXPECT_EQ(0U, header_id());
  protocol_.tick();
  EXPECT_EQ(1, start_write_local_logfile);
  EXPECT_EQ(41U, header_id());
}

TEST_F(OwnId, HigherIdInAnAnnouncementIsAdoptedWhileOthersAreStillAsked) {
  protocol_.start();
  wait_is_over();
  char host[256];  // announcements go by the name of the host
  ASSERT_EQ(0, get_local_server(host));
  receive(kNode2[0], {.type = 0xa, .sequence = 1}, "1\n" + std::string(host) + " 60\n" + '\0');
  protocol_.tick();
  EXPECT_EQ(60U, header_id());
  EXPECT_EQ(1, start_write_local_logfile);
}

TEST_F(OwnId, OwnAlertThatComesBackRaisesTheId) {
  protocol_.start();
  receive(kNode2[0], {.type = 0x1, .sequence = 1}, alt_test::alert_payload(alert_of("node1", 90)));
  protocol_.tick();
  EXPECT_EQ(90U, header_id());
  EXPECT_EQ(Texts{"node1:90"}, held());
}

TEST_F(OwnId, AlertsOfOthersDoNotRaiseTheId) {
  protocol_.start();
  receive(kNode2[0], {.type = 0x1, .sequence = 1}, alt_test::alert_payload(alert_of("node2", 90)));
  wait_is_over();
  EXPECT_EQ(0U, header_id());
}

}  // namespace
}  // namespace qel::daemon_test

// The marks by which the front end learns of changes: the tool leaves them to it.
#include <unistd.h>

#include <cstring>

#include "alert_log.h"
#include "answering_socket.h"
#include "reading.h"
#include "support/files.h"
#include "support/process.h"

namespace qel::cli::testing {
namespace {

constexpr int kUpdated = 64;       // cleared by check_is_update
constexpr int kSearchAgain = 128;  // cleared by a search

class Marks : public ReadingTest {
 protected:
  std::string log() const { return cluster_.store_path("alertlog.alt"); }
  int marks() const {
    return alt_test::read_log_numbers(log()).changed & (kUpdated | kSearchAgain);
  }

  // Every call that reads alerts, each to its end.
  std::vector<std::vector<std::string>> readers() const {
    return {{"list"},
            {"list", "-s", "node1", "--cursor-file", cluster_.root() + "/cursor"},
            {"last"},
            {"show", "node1/1"},
            {"count", "-p", "1"},
            {"stats"},
            {"gaps"},
            {"export", "--file", cluster_.root() + "/export"},
            {"complete", "server"},
            {"check", "-w", "1"},
            {"status"},
            {"verify"}};
  }
};

// What the front end does: the alerts that a search finds.
int searched(std::vector<ALERT_RECORD_INFO>* alerts) {
  int size = static_cast<int>(alerts->size());
  int page = 0;
  return alert_search(ALERT_SEARCH_INFO{}, &size, &page, alerts->data());
}

TEST_F(Marks, EveryReaderLeavesThemAsTheyAre) {
  store_five();
  for (const int changed : {0, kUpdated, kSearchAgain, kUpdated + kSearchAgain}) {
    alt_test::set_log_changed(log(), changed);
    for (const std::vector<std::string>& call : readers()) {
      (void)qelalert(call);
      EXPECT_EQ(changed, marks()) << call[0];
    }
  }
}

TEST_F(Marks, FollowLeavesThemAsTheyAre) {
  store_five();
  alt_test::set_log_changed(log(), kUpdated + kSearchAgain);
  const auto tool = cluster_.start({"follow", "-o", "cat"});
  for (int i = 0; i < 3000 && tool->out().empty(); ++i) usleep(10000);
  EXPECT_NE("", tool->out());
  EXPECT_EQ(kUpdated + kSearchAgain, marks());
}

TEST_F(Marks, FrontEndIsToldOfEachChangeOnceWhateverReadsInBetween) {
  std::vector<ALERT_RECORD_INFO> found(100);
  uint32_t id = 0;
  for (const std::vector<std::string>& call : readers()) {
    SCOPED_TRACE(call[0]);
    cluster_.store_alerts(id + 1, id + 1);
    ++id;
    (void)qelalert(call);
    EXPECT_EQ(1, check_is_update());
    (void)qelalert(call);
    EXPECT_EQ(0, check_is_update());
    EXPECT_EQ(static_cast<int>(id), searched(&found));
    (void)qelalert(call);
    EXPECT_EQ(0, check_is_update());
    EXPECT_EQ(static_cast<int>(id), searched(&found));
    EXPECT_EQ(0, marks());
  }
}

// Searches whenever there was a change, and only then, until it has seen `expected` alerts.
int front_end(int expected) {
  std::vector<ALERT_RECORD_INFO> found(static_cast<size_t>(expected));
  int seen = 0;
  for (int i = 0; i < 6000 && seen < expected; ++i) {
    const int updated = check_is_update();
    if (updated < 0) return 1;
    if (updated == 0) {
      usleep(5000);
      continue;
    }
    const int now = searched(&found);
    if (now < seen) return 2;
    seen = now;
  }
  return seen == expected ? 0 : 3;
}

TEST_F(Marks, FrontEndSeesEveryAlertWhileTheToolReadsAllTheTime) {
  constexpr uint32_t kAlerts = 400;
  cluster_.set_capacity(kAlerts);
  cluster_.store_alerts(1, 1);
  const auto follower = cluster_.start({"follow", "-n", "0", "-o", "json"});
  alt_test::Child viewer([] { return front_end(kAlerts); });
  alt_test::Child daemon([this] {
    for (uint32_t id = 2; id <= kAlerts; ++id) {
      cluster_.store_alerts(id, id);
      usleep(2000);
    }
    return HasFailure() ? 1 : 0;
  });
  for (int i = 0; i < 3; ++i) {
    for (const std::vector<std::string>& call : readers()) (void)qelalert(call);
  }
  EXPECT_EQ(0, daemon.wait());
  EXPECT_EQ(0, viewer.wait());
}

}  // namespace
}  // namespace qel::cli::testing

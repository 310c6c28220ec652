// qelalert verify over the stores that random work leaves: none of it is damage.
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_log.h"
#include "alert_udp.h"
#include "recovery.h"
#include "support/files.h"
#include "support/process.h"
#include "support/random.h"
#include "support/sanitizer.h"
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

constexpr int kOperations = alt_test::is_sanitized() ? 60 : 150;
constexpr int kCapacityLimit = 25;
constexpr char kOwnServer[] = "alpha";

// What a store can live through, with keys and times from small pools so that equal ones are the
// rule. Ids are given once, as the daemon gives them.
class RandomWork {
 public:
  explicit RandomWork(uint64_t seed) : random_(seed) {}

  // One operation.
  void step() {
    const auto chosen = random_.below(100);
    if (chosen < 75) {
      store();
    } else if (chosen < 80) {
      resize();
    } else if (chosen < 85) {
      ASSERT_EQ(0, recreate_index_files());
    } else if (chosen < 90) {
      remove_index();
    } else {
      ask();
    }
  }

  void store() {
    static const std::vector<std::string> servers = {kOwnServer, "beta", std::string(64, 's')};
    static const std::vector<std::string> modules = {"disk", "Disk", " fan", "\xc3\xa9tat"};
    static const std::vector<std::string> events = {"9", "10", "abc", "007", "-3", "1234567"};
    static const std::vector<std::string> levels = {"1", "2", "3"};
    const std::string server = random_.pick(servers);
    ++last_id_;
    ALERT_RECORD_INFO alert =
        alt_test::make_record(last_id_, server, random_.pick(modules), random_.pick(events),
                              random_.pick(levels), time(), "alert " + std::to_string(last_id_));
    const int local = server == kOwnServer ? 1 : 0;
    ASSERT_EQ(0, udp_write_disk(alt_test::image(alert), sizeof alert, local));
  }

 private:
  std::string time() {
    clock_ += random_.chance(60) ? 1 : 0;
    const int tick = random_.chance(20) ? random_.between(0, clock_) : clock_;
    char text[32];
    std::snprintf(text, sizeof text, "2024/02/29 %02d:%02d:%02d.%03d", tick / 3600 % 24,
                  tick / 60 % 60, tick % 60, tick % 3);
    return text;
  }

  void resize() {
    const int capacity = random_.between(1, kCapacityLimit);
    alt_max_count = capacity;
    if (check_file_size() == 0) return;
    ASSERT_EQ(0, adjust_alert_record(capacity));
  }

  void remove_index() {
    alt_test::remove_file(std::string(alt_path_only) + idx_name[random_.below(ALERT_INDEX_COUNT)]);
  }

  void ask() {
    ALERT_RECORD_INFO page[5];
    int size = 5;
    int number = 0;
    ASSERT_LE(0, alert_search({}, &size, &number, page));
    ASSERT_LE(0, check_is_update());
  }

  alt_test::Random random_;
  uint32_t last_id_ = 99999990;  // the header's number gets wider on the way
  int clock_ = 0;
};

class VerifyStates : public CliTest {
 protected:
  void make_new(int capacity) const {
    for (const char* name : alt_test::kStoreFiles) alt_test::remove_file(cluster_.store_path(name));
    alt_max_count = capacity;
    ASSERT_EQ(0, create_file(0, alt_name_only));
  }

  // Nothing is found; missing indexes are noted, and nothing else.
  void expect_sound() const {
    const Result result = qelalert({"verify"});
    EXPECT_EQ(0, result.exit_code);
    EXPECT_EQ("", result.out);
    const bool empty = alt_test::read_log_numbers(cluster_.store_path(kLog)).count == 0;
    EXPECT_EQ(empty ? "" : note_of_missing(), result.err);
  }

 private:
  std::string note_of_missing() const {
    std::string names;
    for (const char* name : idx_name) {
      if (alt_test::file_exists(cluster_.store_path(name))) continue;
      names += std::string(names.empty() ? " " : ", ") + name;
    }
    if (names.empty()) return "";
    return "qelalert: " + cluster_.store_path("") + " has no" + names +
           ": an index is built at its next use\n";
  }
};

TEST_F(VerifyStates, RandomWorkLeavesASoundStoreAfterEachStep) {
  for (const uint64_t seed : alt_test::test_seeds({1, 2, 3})) {
    make_new(10);
    RandomWork work(seed);
    for (int i = 0; i < kOperations && !HasFailure(); ++i) {
      work.step();
      expect_sound();
    }
    ASSERT_FALSE(HasFailure()) << alt_test::repeat_command(seed);
  }
}

// The server that the daemon's recovery counts as its own.
class OwnServer {
 public:
  OwnServer() {
    std::string name = kOwnServer;
    ty_svrlist server = {};
    server.svr_name = name.data();
    EXPECT_EQ(0, add_to_server_list(&local_svr, &server));
  }
  ~OwnServer() { release_svrlist(&local_svr); }
  OwnServer(const OwnServer&) = delete;
  OwnServer& operator=(const OwnServer&) = delete;
};

// As the daemon starts after an unclean end.
void mend() {
  daemon::mend_files();
  ASSERT_EQ(0, check_file_size());
  ASSERT_EQ(0, daemon::complete_interrupted_store());
}

// Stores until it is killed, at the latest with its parent.
int work_endlessly(uint64_t seed) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  RandomWork work(seed);
  for (int i = 0; i < 1000000; ++i) work.store();
  return 1;
}

TEST_F(VerifyStates, StoreIsSoundOnceItIsMendedAfterAKill) {
  int found = 0;
  for (const uint64_t seed : alt_test::test_seeds({11, 12, 13, 14, 15, 16, 17, 18, 19, 20})) {
    make_new(30);
    {
      alt_test::Child child([seed] { return work_endlessly(seed); });
      usleep(static_cast<useconds_t>(alt_test::Random(seed).between(5000, 60000)));
      child.kill(SIGKILL);
      ASSERT_EQ(alt_test::kChildSignalled + SIGKILL, child.wait());
    }
    const Result killed = qelalert({"verify"});
    EXPECT_EQ(killed.out.empty() ? 0 : 1, killed.exit_code) << killed.err;
    found += killed.exit_code;
    const OwnServer own;
    mend();
    expect_sound();
    ASSERT_FALSE(HasFailure()) << alt_test::repeat_command(seed);
  }
  RecordProperty("found", found);
}

}  // namespace
}  // namespace qel::cli::testing

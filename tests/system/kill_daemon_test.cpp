// The daemon is killed over and over while programs raise alerts. QEL_TEST_KILLS sets how often.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "alert_log.h"
#include "alert_log/layout.h"
#include "raising.h"
#include "server.h"
#include "store_content.h"
#include "support/files.h"
#include "support/random.h"
#include "unique_fd.h"

namespace qel::system_test {
namespace {

constexpr int kPrograms = 3;
constexpr useconds_t kPause_us = 3000;  // a pace that the daemon can hold
constexpr int kAlertsMax = 200000;      // of one program
constexpr int kLifeMax_us = 60000;      // of a daemon, from its start or from its first answer

int kills() {
  const char* text = getenv("QEL_TEST_KILLS");
  return text != nullptr ? atoi(text) : 25;
}

// Numbers for alerts, drawn by several programs: the file holds the last one. While its lock is
// kept, the alerts enter the intake in the order of their numbers.
class Numbers {
 public:
  explicit Numbers(const std::string& path) : path_(path) { alt_test::write_file(path, ""); }

  class Turn {
   public:
    explicit Turn(const std::string& path) : file_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
      if (flock(file_.get(), LOCK_EX) != 0) throw std::runtime_error("flock " + path);
      (void)!pread(file_.get(), &number_, sizeof number_, 0);
      ++number_;
      (void)!pwrite(file_.get(), &number_, sizeof number_, 0);
    }
    uint32_t number() const { return number_; }

   private:
    UniqueFd file_;
    uint32_t number_ = 0;
  };

  Turn turn() const { return Turn(path_); }

 private:
  std::string path_;
};

// Some alerts lack their module: they enter the intake, but never the log.
bool is_unstorable(uint32_t number) { return number % 25 == 0; }

ALERT_RECORD_INFO alert_with(uint32_t number) {
  ALERT_RECORD_INFO alert = numbered_alert(number);
  if (is_unstorable(number)) memset(alert.szModType, 0, sizeof alert.szModType);
  return alert;
}

// Raises alerts at its pace until `stop` exists; notes the numbers of those accepted.
int raise_until(const std::string& stop, const std::string& accepted, const Numbers& numbers) {
  return as_program([&] {
    std::ofstream notes(accepted);
    for (int i = 0; i < kAlertsMax && access(stop.c_str(), F_OK) != 0; ++i) {
      {
        const auto turn = numbers.turn();
        ALERT_RECORD_INFO alert = alert_with(turn.number());
        if (alert_log_lib_write(&alert) == 0) notes << turn.number() << std::endl;
      }
      usleep(kPause_us);
    }
    return 0;
  });
}

class KilledDaemon : public ::testing::Test {
 protected:
  void run(int capacity) {
    server_.set_capacity(capacity);
    start_programs();
    for (int i = 0; i < kills(); ++i) live_and_die();
    alt_test::write_file(stop_, "");
    for (const auto& program : programs_) EXPECT_EQ(0, program->wait());
    const auto daemon = server_.start_daemon();
    EXPECT_TRUE(eventually([&] { return server_.intake_is_empty(); })) << server_.status();
    accepted_ = read_accepted();
    RecordProperty("accepted", static_cast<int>(accepted_.size()));
    expect_set_aside_are_unstorable();
    EXPECT_EQ(0, Server::stop(daemon.get()));
  }

  void expect_stored(const std::vector<uint32_t>& expected) {
    const auto alerts = read_log(server_.store("alertlog.alt"));
    const auto numbers = sorted(numbers_of(alerts));
    EXPECT_EQ(expected.size(), numbers.size());
    std::vector<uint32_t> wrong;
    std::set_difference(expected.begin(), expected.end(), numbers.begin(), numbers.end(),
                        std::back_inserter(wrong));
    EXPECT_EQ(std::vector<uint32_t>(), wrong) << "accepted, but not in the log";
    wrong.clear();
    std::set_difference(numbers.begin(), numbers.end(), expected.begin(), expected.end(),
                        std::back_inserter(wrong));
    EXPECT_EQ(std::vector<uint32_t>(), wrong) << "in the log too often, or not to be there";
    auto ids = sorted(ids_of(alerts));
    EXPECT_EQ(ids.end(), std::adjacent_find(ids.begin(), ids.end())) << "an id given twice";
    EXPECT_EQ("", index_difference(server_.root()));
    if (HasFailure()) printf("%s\n", server_.diagnostic_log().c_str());
  }

  const std::vector<uint32_t>& accepted() const { return accepted_; }

 private:
  std::string notes_of(int program) const {
    return server_.path("accepted." + std::to_string(program));
  }

  void start_programs() {
    for (int i = 0; i < kPrograms; ++i) {
      programs_.push_back(std::make_unique<alt_test::Child>(
          [this, i] { return raise_until(stop_, notes_of(i), numbers_); }));
    }
  }

  // A life that ends at a random moment: while the daemon starts and mends, or later.
  void live_and_die() {
    const bool starting = random_.chance(30);
    const auto daemon = starting ? server_.launch_daemon() : server_.start_daemon();
    usleep(static_cast<useconds_t>(random_.below(kLifeMax_us)));
    daemon->signal(SIGKILL);
    EXPECT_EQ(1000 + SIGKILL, daemon->wait()) << daemon->err();
  }

  // What was set aside before a kill is so again after it.
  void expect_set_aside_are_unstorable() const {
    const std::string lines = alt_test::read_file(server_.store("alerttmp.bad")).value_or("");
    ASSERT_EQ(0U, lines.size() % kRecordLine);
    for (size_t at = 0; at < lines.size(); at += kRecordLine) {
      const std::string message = lines.substr(at + kColumnMessage.begin, kColumnMessage.width);
      EXPECT_TRUE(is_unstorable(number_of(message))) << message;
    }
  }

  // Without the unstorable ones.
  std::vector<uint32_t> read_accepted() const {
    std::vector<uint32_t> numbers;
    for (int i = 0; i < kPrograms; ++i) {
      std::ifstream notes(notes_of(i));
      for (uint32_t number; notes >> number;) {
        if (!is_unstorable(number)) numbers.push_back(number);
      }
    }
    return sorted(numbers);
  }

  Server server_;
  const std::string stop_ = server_.path("stop");
  const Numbers numbers_{server_.path("numbers")};
  alt_test::Random random_{
      static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count())};
  std::vector<std::unique_ptr<alt_test::Child>> programs_;
  std::vector<uint32_t> accepted_;
};

TEST_F(KilledDaemon, EveryAcceptedAlertIsInALogWithRoomExactlyOnce) {
  run(kPrograms * kAlertsMax);
  expect_stored(accepted());
}

TEST_F(KilledDaemon, NewestAcceptedAlertsAreInAFullLogExactlyOnce) {
  constexpr size_t kCapacity = 40;
  run(kCapacity);
  ASSERT_LT(kCapacity, accepted().size());
  expect_stored({accepted().end() - kCapacity, accepted().end()});
}

}  // namespace
}  // namespace qel::system_test

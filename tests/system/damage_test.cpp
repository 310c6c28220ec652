// Files of the store that are damaged under a running daemon, or while none runs.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <ostream>

#include "raising.h"
#include "server.h"
#include "store_content.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

constexpr uint32_t kBefore = 5;  // alerts in the store when it is damaged
constexpr uint32_t kAfter = 3;   // and afterwards
constexpr int kRoom = 100;
constexpr char kDestroyed[] =
    "error for file was empty or file was destroyed. the bad file will be deleted.";

struct Damage {
  const char* name;
  std::function<void(const std::string& path)> apply;
  const char* logged;  // what the daemon finds; null when it cannot tell
};

std::ostream& operator<<(std::ostream& out, const Damage& damage) { return out << damage.name; }

void cut_to_half(const std::string& path) {
  ASSERT_EQ(0, truncate(path.c_str(), static_cast<off_t>(std::filesystem::file_size(path) / 2)));
}
void make_empty(const std::string& path) { ASSERT_EQ(0, truncate(path.c_str(), 0)); }
void scramble(const std::string& path) {
  alt_test::write_file_at(path, 0, std::string(std::filesystem::file_size(path), '#'));
}
void scramble_head(const std::string& path) {
  alt_test::write_file_at(path, 0, std::string(150, '#'));
}
void lengthen(const std::string& path) {
  alt_test::write_file(path, *alt_test::read_file(path) + std::string(2000, 'x'));
}

class DamageTest : public ::testing::Test {
 protected:
  void raise_and_wait(uint32_t first, uint32_t last) {
    ASSERT_EQ(0, raise_alerts(first, last));
    ASSERT_TRUE(eventually([&] { return server_.intake_is_empty(); })) << server_.diagnostic_log();
  }
  std::vector<ALERT_RECORD_INFO> alerts() const { return read_log(server_.store("alertlog.alt")); }

  // Ends the daemon, cleanly or not, and starts the next one when `between` is done.
  void restart(bool cleanly, const std::function<void()>& between) {
    if (cleanly) {
      ASSERT_EQ(0, Server::stop(daemon_.get()));
    } else {
      daemon_->signal(SIGKILL);
      ASSERT_TRUE(daemon_->wait().has_value());
    }
    between();
    daemon_ = server_.start_daemon();
  }

  Server server_;
  std::unique_ptr<Program> daemon_;
};

struct IndexCase {
  const char* file;
  Damage damage;
  int capacity;
};

std::ostream& operator<<(std::ostream& out, const IndexCase& test) {
  return out << test.damage.name << " " << test.file << ", capacity " << test.capacity;
}

constexpr char kUnreadable[] = "read index header with char (";

const Damage kIndexDamages[] = {
    {"Missing", [](const std::string& path) { alt_test::remove_file(path); },
     "not exist, now create it."},
    {"Truncated", cut_to_half, nullptr},
    {"Empty", make_empty, kDestroyed},
    {"Scrambled", scramble, kUnreadable}};

std::vector<IndexCase> index_cases() {
  std::vector<IndexCase> cases;
  for (const Damage& damage : kIndexDamages) {
    for (int i = 1; i < 7; ++i) cases.push_back({alt_test::kStoreFiles[i], damage, kRoom});
    for (const char* file : {"time.idx", "level.idx", "srv_alt_id.idx"}) {
      cases.push_back({file, damage, static_cast<int>(kBefore)});
    }
  }
  return cases;
}

std::string name_of_case(const ::testing::TestParamInfo<IndexCase>& test) {
  std::string file = test.param.file;
  std::replace_if(
      file.begin(), file.end(), [](char c) { return isalnum(c) == 0; }, '_');
  return test.param.damage.name + ("_" + file) +
         (test.param.capacity == kRoom ? "_InALogWithRoom" : "_InAFullLog");
}

class DamagedIndex : public DamageTest, public ::testing::WithParamInterface<IndexCase> {
 protected:
  void SetUp() override {
    server_.set_capacity(GetParam().capacity);
    daemon_ = server_.start_daemon();
    raise_and_wait(1, kBefore);
  }
  void damage() { GetParam().damage.apply(server_.store(GetParam().file)); }

  void expect_goes_on() {
    EXPECT_FALSE(daemon_->has_ended()) << daemon_->err();
    const auto kept = numbers_of(alerts());
    EXPECT_EQ(1, std::count(kept.begin(), kept.end(), kBefore + kAfter));
  }
  void expect_all_stored(uint32_t last) {
    const bool full = GetParam().capacity != kRoom;
    const auto expected = counting(full ? last - kBefore + 1 : 1, last);
    EXPECT_EQ(expected, sorted(numbers_of(alerts())));
    EXPECT_EQ(expected, sorted(ids_of(alerts())));
  }
};

// Lookups trust an index whose header is whole: a cut one may be noticed late or at the next
// mending.
TEST_P(DamagedIndex, UnderARunningDaemonDoesNotStopItAndIsBuiltAgainWhenNoticed) {
  damage();
  raise_and_wait(kBefore + 1, kBefore + kAfter);
  expect_goes_on();
  if (GetParam().damage.logged != nullptr) {
    expect_all_stored(kBefore + kAfter);
    EXPECT_TRUE(server_.logged(GetParam().damage.logged)) << server_.diagnostic_log();
    EXPECT_EQ("", index_difference(server_.root()));
  }
  restart(false, [] {});
  EXPECT_EQ("", index_difference(server_.root()));
  EXPECT_EQ(0, Server::stop(daemon_.get()));
}

INSTANTIATE_TEST_SUITE_P(Each, DamagedIndex, ::testing::ValuesIn(index_cases()), name_of_case);

TEST_F(DamageTest, IndexesDamagedWhileNoDaemonRunsFitTheLogAfterTheNextStart) {
  server_.set_capacity(kRoom);
  daemon_ = server_.start_daemon();
  raise_and_wait(1, kBefore);
  uint32_t last = kBefore;
  for (const bool cleanly : {true, false}) {
    for (const Damage& damage : kIndexDamages) {
      restart(cleanly, [&] {
        for (int i = 1; i < 7; ++i) damage.apply(server_.store(alt_test::kStoreFiles[i]));
      });
      ++last;
      raise_and_wait(last, last);
      EXPECT_EQ(counting(1, last), numbers_of(alerts())) << damage << cleanly;
      EXPECT_EQ("", index_difference(server_.root())) << damage << cleanly;
    }
  }
  EXPECT_EQ(0, Server::stop(daemon_.get()));
}

class DamagedLog : public DamageTest, public ::testing::WithParamInterface<Damage> {
 protected:
  void SetUp() override {
    server_.set_capacity(kRoom);
    daemon_ = server_.start_daemon();
    raise_and_wait(1, kBefore);
  }
  void damage() { GetParam().apply(server_.store("alertlog.alt")); }
  void expect_found() {
    EXPECT_TRUE(server_.logged(GetParam().logged)) << server_.diagnostic_log();
    EXPECT_FALSE(daemon_->has_ended()) << daemon_->err();
    EXPECT_EQ("", index_difference(server_.root()));
  }
};

TEST_P(DamagedLog, UnderARunningDaemonIsMadeAnewAndNoIdIsGivenAgain) {
  damage();
  raise_and_wait(kBefore + 1, kBefore + kAfter);
  EXPECT_EQ(counting(kBefore + 1, kBefore + kAfter), numbers_of(alerts()));
  EXPECT_EQ(counting(kBefore + 1, kBefore + kAfter), ids_of(alerts()));
  expect_found();
  EXPECT_EQ(0, Server::stop(daemon_.get()));
}

TEST_P(DamagedLog, AtTheStartIsMadeAnew) {
  for (const bool cleanly : {true, false}) {
    restart(cleanly, [this] { damage(); });
    raise_and_wait(kBefore + 1, kBefore + kAfter);
    EXPECT_EQ(counting(kBefore + 1, kBefore + kAfter), numbers_of(alerts())) << cleanly;
    expect_found();
  }
  EXPECT_EQ(0, Server::stop(daemon_.get()));
}

const Damage kLogDamages[] = {
    {"Header", scramble_head, "read alert header with char"},
    {"TooLong", lengthen, "alert log file is not normal so delete it(size = "},
    {"TooShort", cut_to_half, "alert log file is not normal so delete it(size = "},
    {"Empty", make_empty, kDestroyed}};

INSTANTIATE_TEST_SUITE_P(Each, DamagedLog, ::testing::ValuesIn(kLogDamages),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(DamageTest, MissingLogIsMadeAnewAndNoIdIsGivenAgain) {
  daemon_ = server_.start_daemon();
  raise_and_wait(1, kBefore);
  alt_test::remove_file(server_.store("alertlog.alt"));
  raise_and_wait(kBefore + 1, kBefore + kAfter);
  EXPECT_EQ(counting(kBefore + 1, kBefore + kAfter), ids_of(alerts()));
  EXPECT_EQ("", index_difference(server_.root()));
}

TEST_F(DamageTest, ReplacedIntakeFileIsFound) {
  daemon_ = server_.start_daemon();
  raise_and_wait(1, 2);
  alt_test::remove_file(server_.store("alerttmp.alt"));
  raise_and_wait(3, 4);
  raise_and_wait(5, 6);
  EXPECT_EQ(counting(1, 6), numbers_of(alerts()));
}

}  // namespace
}  // namespace qel::system_test

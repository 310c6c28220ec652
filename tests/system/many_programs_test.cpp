// Programs that raise alerts at the same time.
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "alert_log.h"
#include "raising.h"
#include "server.h"
#include "store_content.h"
#include "support/files.h"
#include "support/sanitizer.h"

namespace qel::system_test {
namespace {

constexpr uint32_t kPrograms = 10;
constexpr uint32_t kAlertsEach = alt_test::is_sanitized() ? 300 : 1000;
constexpr uint32_t kCapacity = kPrograms * kAlertsEach;

// Each program waits at the pipe until its last writer is gone.
class StartTogether {
 public:
  StartTogether() {
    if (pipe(ends_) != 0) throw std::runtime_error("pipe");
  }
  ~StartTogether() {
    close(ends_[0]);
    go();
  }
  void wait_in_program() {
    go();
    char byte;
    (void)!read(ends_[0], &byte, 1);
  }
  void go() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  int ends_[2];
};

// The alerts 1 to kCapacity, each program every tenth of them.
int raise_every_tenth(uint32_t program) {
  return as_program([&] {
    for (uint32_t i = 0; i < kAlertsEach; ++i) {
      ALERT_RECORD_INFO alert = numbered_alert(1 + i * kPrograms + program);
      if (alert_log_lib_write(&alert) != 0) return 2;
    }
    return 0;
  });
}

void raise_at_once() {
  StartTogether gate;
  std::vector<std::unique_ptr<alt_test::Child>> programs;
  for (uint32_t program = 0; program < kPrograms; ++program) {
    programs.push_back(std::make_unique<alt_test::Child>([&gate, program] {
      gate.wait_in_program();
      return raise_every_tenth(program);
    }));
  }
  gate.go();
  for (const auto& program : programs) EXPECT_EQ(0, program->wait());
}

// The ids of the alerts but the one with that number, and `added`.
std::vector<uint32_t> ids_without(const std::vector<ALERT_RECORD_INFO>& alerts, uint32_t number,
                                  uint32_t added) {
  std::vector<uint32_t> ids = {added};
  for (const ALERT_RECORD_INFO& alert : alerts) {
    if (number_of(alert.szAlertMessage) != number) ids.push_back(alert.alert_id);
  }
  return sorted(ids);
}

TEST(ManyPrograms, TenWithThousandAlertsEachFillTheLogAndTheNextReplacesTheOldest) {
  Server server;
  server.set_capacity(kCapacity);
  const auto daemon = server.start_daemon();
  raise_at_once();
  ASSERT_TRUE(eventually([&] { return server.intake_is_empty(); }));
  const std::string log = server.store("alertlog.alt");
  const auto alerts = read_log(log);
  EXPECT_EQ(counting(1, kCapacity), ids_of(alerts));
  EXPECT_EQ(counting(1, kCapacity), sorted(numbers_of(alerts)));
  EXPECT_EQ("", index_difference(server.root()));

  ASSERT_EQ(0, raise_alerts(kCapacity + 1, kCapacity + 1));
  ASSERT_TRUE(eventually([&] { return server.intake_is_empty(); }));
  const auto after = read_log(log);
  EXPECT_EQ(kCapacity, after.size());
  EXPECT_EQ(counting(2, kCapacity + 1), sorted(numbers_of(after)));
  EXPECT_EQ(ids_without(alerts, 1, kCapacity + 1), sorted(ids_of(after)));
  EXPECT_EQ(numbered_alert(2).szServerTime, keys_of(server.store("time.idx")).front());
  EXPECT_EQ("", index_difference(server.root()));
  EXPECT_FALSE(alt_test::file_exists(server.store("alerttmp.bad")));
  EXPECT_EQ(0, Server::stop(daemon.get()));
}

}  // namespace
}  // namespace qel::system_test

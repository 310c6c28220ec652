// The new-alert event as something to wait for.
#include "alert_event.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <qelipc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace qel::web::testing {
namespace {

class NewAlertBell : public ::testing::Test {
 protected:
  NewAlertBell() { setenv("QEL_IPC_NAME", name_.c_str(), 1); }
  ~NewAlertBell() override {
    shm_unlink(name_.c_str());
    unsetenv("QEL_IPC_NAME");
  }
  static bool rings(const AlertEvent& event, int timeout_ms) {
    pollfd bell = {event.fd(), POLLIN, 0};
    return poll(&bell, 1, timeout_ms) == 1;
  }

 private:
  const std::string name_ = "/qel-web-test-" + std::to_string(getpid());
};

TEST_F(NewAlertBell, RaisedOneRingsUntilItIsCleared) {
  const AlertEvent event;
  ASSERT_EQ(0, semevt_set_alert());
  EXPECT_TRUE(rings(event, 10000));
  EXPECT_TRUE(rings(event, 0));
  event.clear();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, semevt_set_alert());
    EXPECT_TRUE(rings(event, 10000)) << i;
    event.clear();
  }
}

TEST_F(NewAlertBell, ThatIsNotRaisedStaysSilent) {
  const AlertEvent event;
  EXPECT_FALSE(rings(event, 50));
}

}  // namespace
}  // namespace qel::web::testing

// Comparing the logs now and then, though nothing is known to be missing.
#include <gtest/gtest.h>

#include "catch_up_fixture.h"
#include "cluster/catch_up.h"

namespace qel::daemon_test {
namespace {

using alt_test::names_of;

class Comparison : public CatchUpTest {
 protected:
  Comparison() {
    settings_.timing.recheck = 3;
    put(&new_server_list, {"node2"});
    protocol_.tick();  // the pause begins when there is nobody left to catch up with
    release_svrlist(&new_server_list);
  }
  Texts listed_after(int ticks) {
    for (int i = 0; i < ticks; ++i) protocol_.tick();
    const Texts names = names_of(new_server_list);
    release_svrlist(&new_server_list);
    return names;
  }
};

TEST_F(Comparison, ServersAreDueInTurnAfterThePause) {
  EXPECT_EQ(Texts{}, listed_after(2));
  EXPECT_EQ(Texts{"node2"}, listed_after(1));
  EXPECT_EQ(Texts{}, listed_after(2));
  EXPECT_EQ(Texts{"node3"}, listed_after(1));
  EXPECT_EQ(Texts{"node2"}, listed_after(3));
}

TEST_F(Comparison, PauseZeroMeansNever) {
  settings_.timing.recheck = 0;
  EXPECT_EQ(Texts{}, listed_after(10));
}

TEST_F(Comparison, PauseBeginsAnewWhileARunGoesOn) {
  EXPECT_EQ(Texts{}, listed_after(2));
  g_sync_step = REQ_NAME;
  EXPECT_EQ(Texts{}, listed_after(5));
  g_sync_step = RESYN_END;
  EXPECT_EQ(Texts{}, listed_after(2));
  EXPECT_EQ(Texts{"node2"}, listed_after(1));
}

TEST_F(Comparison, ServerAloneComparesWithNobody) {
  keep_only_the_local_server();
  EXPECT_EQ(Texts{}, listed_after(10));
}

TEST_F(Comparison, GoesOnWithTheFirstWhenTheLastOneHasLeft) {
  EXPECT_EQ(Texts{"node2"}, listed_after(3));
  EXPECT_EQ(Texts{"node3"}, listed_after(3));
  keep_servers({"node1", "node2"});
  EXPECT_EQ(Texts{"node2"}, listed_after(3));
}

TEST_F(Comparison, ServerThatIsDueIsAskedWithTheNextCheck) {
  end_resynchronize(0);
  for (int i = 0; i < 3; ++i) protocol_.tick();
  check();
  EXPECT_EQ((Texts{"127.0.1.2 0x3 1", "127.0.2.2 0x3 1"}), sent());
}

}  // namespace
}  // namespace qel::daemon_test

// The script that runs the alert log of one server in a directory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>

#include "alert_log/layout.h"
#include "server.h"
#include "store_content.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

namespace fs = std::filesystem;

// The script's shared state belongs to the user, not to one run: what was there before stays.
class SharedStateOfTheScript {
 public:
  SharedStateOfTheScript() : was_there_(alt_test::file_exists("/dev/shm" + name())) {}
  ~SharedStateOfTheScript() {
    if (!was_there_) shm_unlink(name().c_str());
  }
  SharedStateOfTheScript(const SharedStateOfTheScript&) = delete;
  SharedStateOfTheScript& operator=(const SharedStateOfTheScript&) = delete;

 private:
  static std::string name() { return "/qelalert-run-" + std::to_string(getuid()); }

  bool was_there_;
};

class OneServer : public ::testing::Test {
 protected:
  // A source tree in which the script finds the programs of this build.
  std::string make_tree() const {
    const std::string tree = server_.path("tree");
    fs::create_directories(tree + "/build");
    fs::create_directory_symlink(QEL_SOURCE_DIR "/scripts", tree + "/scripts");
    fs::create_directory_symlink(QEL_SOURCE_DIR "/packaging", tree + "/packaging");
    fs::create_directory_symlink(QEL_BUILD_DIR, tree + "/build/dev");
    return tree;
  }

  Server server_;
};

TEST_F(OneServer, RaisesItsSamplesShowsThemAndEndsWithItsStoreLeft) {
  const SharedStateOfTheScript shared_state;
  const std::string home = server_.path("home");
  // Its semaphores are the test's, so that they go with it.
  fs::create_directory(home);
  fs::create_directory_symlink(server_.path("lock"), home + "/lock");
  Program script({make_tree() + "/scripts/one-server", home}, server_.path("out/script"),
                 {{"QELALERT_RUN_SECONDS", "1"}});
  const auto status = script.wait();
  if (!status) script.signal(SIGTERM);  // so that it ends its daemon
  ASSERT_EQ(0, status) << script.out() << script.err();
  for (const char* alert : {"/dev/sda1 is 97% full (limit 95%)", "eth1: link down",
                            "database.service: main process exited, status 1",
                            "database.service: started again", "eth1: link up, 10000 Mbit/s"}) {
    EXPECT_NE(std::string::npos, script.out().find(alert)) << alert << "\n" << script.out();
  }
  EXPECT_EQ(counting(1, 5), ids_of(read_log(home + "/store/alertlog.alt")));
  EXPECT_FALSE(alt_test::file_exists(home + "/run/qelalertd.sock"));
}

}  // namespace
}  // namespace qel::system_test

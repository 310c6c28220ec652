// The script that runs the alert logs of three servers in a directory.
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

constexpr const char* kServers[] = {"node1", "node2", "node3"};

// What the script leaves in the system outside its directory. Its shared state belongs to the user,
// not to one run: what was there before stays.
class LeftByTheScript {
 public:
  explicit LeftByTheScript(std::string home) : home_(std::move(home)) {
    for (const char* server : kServers) {
      if (!alt_test::file_exists("/dev/shm" + state_of(server))) fresh_.push_back(state_of(server));
    }
  }
  ~LeftByTheScript() {
    for (const std::string& state : fresh_) shm_unlink(state.c_str());
    for (const char* server : kServers) remove_semaphores(home_ + "/" + server + "/lock");
  }
  LeftByTheScript(const LeftByTheScript&) = delete;
  LeftByTheScript& operator=(const LeftByTheScript&) = delete;

 private:
  static std::string state_of(const char* server) {
    return "/qelalert-run-" + std::to_string(getuid()) + "-" + server;
  }

  std::string home_;
  std::vector<std::string> fresh_;
};

class ThreeServers : public ::testing::Test {
 protected:
  // A source tree in which the script finds the programs of this build.
  std::string make_tree() const {
    const std::string tree = server_.path("tree");
    fs::create_directories(tree + "/build");
    fs::create_directory_symlink(QEL_SOURCE_DIR "/scripts", tree + "/scripts");
    fs::create_directory_symlink(QEL_SOURCE_DIR "/packaging", tree + "/packaging");
    fs::create_directory_symlink(QEL_BUILD_DIR, tree + "/build/dev");
    fs::create_directory_symlink(QEL_SOURCE_DIR "/build/page", tree + "/build/page");
    return tree;
  }

  Server server_;
};

TEST_F(ThreeServers, ShowThatAllHoldTheSameAndEndWithTheirStoresLeft) {
  const std::string home = server_.path("home");
  const LeftByTheScript left(home);
  const std::string port = std::to_string(20000 + getpid() % 10000);
  Program script({make_tree() + "/scripts/three-servers", home}, server_.path("out/script"),
                 {{"QELALERT_RUN_SECONDS", "1"}, {"QELALERT_RUN_PORT", port}, {"QELALERT_RUN_WEB_PORT", "0"}});
  const auto status = script.wait();
  if (!status) script.signal(SIGTERM);  // so that it ends its daemons
  ASSERT_EQ(0, status) << script.out() << script.err();
  for (const char* line :
       {"/dev/sda1 is 97% full (limit 95%)", "eth1: link down",
        "database.service: main process exited, status 1", "database.service: started again",
        "eth1: link up, 10000 Mbit/s", "node2 holds the same alerts as node1.",
        "node3 holds the same alerts as node1.", "node1  http://127.0.0.1:",
        "node2  http://127.0.0.1:", "node3  http://127.0.0.1:"}) {
    EXPECT_NE(std::string::npos, script.out().find(line)) << line << "\n" << script.out();
  }
  for (const char* server : kServers) {
    const std::string directory = home + "/" + server;
    EXPECT_EQ(5U, read_log(directory + "/store/alertlog.alt").size()) << server;
    EXPECT_FALSE(alt_test::file_exists(directory + "/run/qelalertd.sock")) << server;
  }
}

}  // namespace
}  // namespace qel::system_test

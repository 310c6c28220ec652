// A daemon's life: its start beside another, its signals, and what it tells those around it.
#include <gtest/gtest.h>
#include <qelipc.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "alert_log.h"
#include "raising.h"
#include "server.h"
#include "store_content.h"
#include "support/files.h"
#include "unique_fd.h"

namespace qel::system_test {
namespace {

class Life : public ::testing::Test {
 protected:
  void raise_and_wait(uint32_t first, uint32_t last) {
    ASSERT_EQ(0, raise_alerts(first, last));
    ASSERT_TRUE(eventually([&] { return server_.intake_is_empty(); })) << server_.diagnostic_log();
  }
  std::vector<uint32_t> stored() const {
    return numbers_of(read_log(server_.store("alertlog.alt")));
  }
  void expect_refused_beside(const Program& other) {
    const auto second = server_.launch_daemon();
    EXPECT_EQ(1, second->wait());
    EXPECT_NE(std::string::npos, second->err().find(std::to_string(other.pid()))) << second->err();
  }
  // The capacity of the log as the daemon tells it.
  bool has_capacity(int records) const {
    return eventually([&] {
      return server_.status().value(nlohmann::json::json_pointer("/log/capacity"), 0) == records;
    });
  }

  // SIGHUP, and the daemon has done with it.
  void reload(Program* daemon, const std::string& logged) const {
    daemon->signal(SIGHUP);
    EXPECT_TRUE(eventually([&] { return server_.logged(logged); })) << server_.diagnostic_log();
  }

  Server server_;
};

TEST_F(Life, SecondDaemonIsRefusedAndTheFirstGoesOn) {
  const auto first = server_.start_daemon();
  expect_refused_beside(*first);
  server_.set("webalert", "pidfile", server_.path("run/other.pid"));
  server_.set("webalert", "socket", server_.path("run/other.sock"));
  expect_refused_beside(*first);  // for the store
  server_.set("webalert", "socket", server_.path("run/qelalertd.sock"));
  raise_and_wait(1, 2);
  EXPECT_EQ(first->pid(), server_.status().value("pid", 0));
  EXPECT_EQ(0, Server::stop(first.get()));
}

TEST_F(Life, SigtermAndSigintEndItCleanlyAndNothingIsLeftToMend) {
  for (const int number : {SIGTERM, SIGINT}) {
    const auto daemon = server_.start_daemon();
    daemon->signal(number);
    EXPECT_EQ(0, daemon->wait());
    EXPECT_EQ("", daemon->err());
    EXPECT_EQ("", alt_test::read_file(server_.path("run/qelalertd.pid")));
    EXPECT_FALSE(alt_test::file_exists(server_.path("run/qelalertd.sock")));
  }
}

TEST_F(Life, SigtermAmongAlertsLosesNone) {
  server_.set_capacity(20000);
  for (uint32_t round = 0; round < 3; ++round) {
    const auto daemon = server_.start_daemon();
    alt_test::Child program([round] { return raise_alerts(round * 500 + 1, round * 500 + 500); });
    EXPECT_TRUE(eventually([&] {
      return server_.status().value(nlohmann::json::json_pointer("/intake/stored"), 0) > 20;
    }));
    EXPECT_EQ(0, Server::stop(daemon.get()));
    EXPECT_EQ(0, program.wait());
  }
  const auto daemon = server_.start_daemon();
  ASSERT_TRUE(eventually([&] { return server_.intake_is_empty(); }));
  EXPECT_EQ(counting(1, 1500), stored());
  EXPECT_EQ("", index_difference(server_.root()));
}

TEST_F(Life, SighupAppliesAChangedCapacityAndKeepsTheNewest) {
  server_.set_capacity(10);
  const auto daemon = server_.start_daemon();
  raise_and_wait(1, 15);
  EXPECT_EQ(counting(6, 15), sorted(stored()));

  server_.set_capacity(12);
  reload(daemon.get(), "the alert log gets the capacity 12");
  ASSERT_TRUE(has_capacity(12));
  EXPECT_EQ("", index_difference(server_.root()));
  raise_and_wait(16, 18);
  EXPECT_EQ(counting(7, 18), sorted(stored()));

  server_.set_capacity(4);
  reload(daemon.get(), "the alert log gets the capacity 4");
  ASSERT_TRUE(has_capacity(4));
  EXPECT_EQ(counting(15, 18), sorted(stored()));
  raise_and_wait(19, 20);
  EXPECT_EQ(counting(17, 20), sorted(stored()));
  EXPECT_EQ(counting(17, 20), sorted(ids_of(read_log(server_.store("alertlog.alt")))));
  EXPECT_EQ("", index_difference(server_.root()));
  EXPECT_EQ(0, Server::stop(daemon.get()));
}

TEST_F(Life, SighupWithoutAChangeKeepsAFullLogUsable) {
  server_.set_capacity(5);
  const auto daemon = server_.start_daemon();
  raise_and_wait(1, 7);
  reload(daemon.get(), "the configuration was read again");
  raise_and_wait(8, 9);
  EXPECT_EQ(counting(5, 9), sorted(stored()));
  EXPECT_EQ("", index_difference(server_.root()));
}

TEST_F(Life, ChangedCapacityIsAppliedAtTheStart) {
  server_.set_capacity(10);
  const auto first = server_.start_daemon();
  raise_and_wait(1, 10);
  EXPECT_EQ(0, Server::stop(first.get()));
  server_.set_capacity(3);
  const auto second = server_.start_daemon();
  EXPECT_EQ(counting(8, 10), sorted(stored()));
  raise_and_wait(11, 11);
  EXPECT_EQ(counting(9, 11), sorted(ids_of(read_log(server_.store("alertlog.alt")))));
  EXPECT_EQ("", index_difference(server_.root()));
}

TEST_F(Life, SighupWithABrokenConfigurationChangesNothing) {
  const auto daemon = server_.start_daemon();
  raise_and_wait(1, 2);
  server_.set_capacity(50);
  server_.edit("webalert", "</webalert>", "</webalarm>");
  reload(daemon.get(), "the configuration stays as it was: " + server_.config("webalert"));
  EXPECT_TRUE(has_capacity(10000));
  server_.edit("webalert", "</webalarm>", "</webalert>");
  raise_and_wait(3, 4);
  EXPECT_EQ(counting(1, 4), stored());
  reload(daemon.get(), "the alert log gets the capacity 50");
  EXPECT_TRUE(has_capacity(50));
  EXPECT_EQ(0, Server::stop(daemon.get()));
}

// Where the service manager listens.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path)
      : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("bind " + path);
    }
  }

  // Whether this line comes, or has come.
  bool heard(const std::string& line) {
    return eventually([&] {
      receive();
      return lines_.contains(line);
    });
  }
  void forget() { lines_.clear(); }

 private:
  void receive() {
    char text[4096];
    for (ssize_t size; (size = recv(fd_.get(), text, sizeof text, 0)) > 0;) {
      std::istringstream message(std::string(text, static_cast<size_t>(size)));
      for (std::string line; std::getline(message, line);) lines_.insert(line);
    }
  }

  UniqueFd fd_;
  std::set<std::string> lines_;
};

TEST_F(Life, ServiceManagerIsToldOfEachTurn) {
  NotifySocket manager(server_.path("run/notify"));
  const auto daemon = server_.start_daemon(
      {{"NOTIFY_SOCKET", server_.path("run/notify")}, {"WATCHDOG_USEC", "400000"}});
  EXPECT_TRUE(manager.heard("READY=1"));
  EXPECT_TRUE(manager.heard("STATUS=0 alerts stored, 0 set aside"));
  EXPECT_TRUE(manager.heard("WATCHDOG=1"));
  manager.forget();
  EXPECT_TRUE(manager.heard("WATCHDOG=1")) << "only once";
  raise_and_wait(1, 3);
  manager.forget();
  daemon->signal(SIGHUP);
  EXPECT_TRUE(manager.heard("RELOADING=1"));
  EXPECT_TRUE(manager.heard("READY=1"));
  EXPECT_TRUE(manager.heard("STATUS=3 alerts stored, 0 set aside"));
  EXPECT_EQ(0, Server::stop(daemon.get()));
  EXPECT_TRUE(manager.heard("STOPPING=1"));
}

TEST_F(Life, NewAlertEventIsRaisedForWhoWaits) {
  const auto daemon = server_.start_daemon();
  unsigned seen = 0;
  ASSERT_EQ(0, semevt_wait_alert(&seen, 0));
  ASSERT_EQ(0, raise_alerts(1, 1));
  EXPECT_EQ(1, semevt_wait_alert(&seen, 30000));
  EXPECT_EQ(counting(1, 1), stored());
}

TEST_F(Life, StatusTellsLogAndIntake) {
  server_.set_capacity(4);
  const auto daemon = server_.start_daemon();
  raise_and_wait(1, 5);
  alt_test::write_file(server_.store("alerttmp.alt"), "broken");
  ASSERT_TRUE(eventually([&] {
    return server_.status().value(nlohmann::json::json_pointer("/intake/set_aside"), 0) == 1;
  }));
  const auto status = server_.status();
  EXPECT_EQ(daemon->pid(), status.value("pid", 0));
  EXPECT_EQ("running", status.value("state", ""));
  EXPECT_EQ(5, status["intake"].value("stored", 0));
  EXPECT_EQ(0, status["intake"].value("waiting", -1));
  EXPECT_EQ(server_.store("alertlog.alt"), status["log"].value("path", ""));
  EXPECT_EQ(4, status["log"].value("count", 0));
  EXPECT_TRUE(status["log"].value("full", false));
  EXPECT_EQ(5, status["log"].value("current_alert_id", 0));
  EXPECT_EQ(numbered_alert(2).szServerTime, status["log"].value("oldest", ""));
  EXPECT_EQ(numbered_alert(5).szServerTime, status["log"].value("newest", ""));
  EXPECT_EQ(0, server_.run_tool({"status"})->wait());
}

// Processor time of a process so far.
long used_ms(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  long user = 0;
  long system = 0;
  fields >> user >> system;
  return (user + system) * 1000 / sysconf(_SC_CLK_TCK);
}

std::string memory_of(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmRSS:")) return line;
  }
  return "VmRSS: unknown";
}

TEST_F(Life, IdleDaemonsMemoryAndProcessorTimeArePrinted) {
  const auto daemon = server_.start_daemon();
  const long before_ms = used_ms(daemon->pid());
  sleep(2);
  printf("idle: %s, %ld ms of processor time in 2 s\n", memory_of(daemon->pid()).c_str(),
         used_ms(daemon->pid()) - before_ms);
  EXPECT_FALSE(daemon->has_ended());
}

}  // namespace
}  // namespace qel::system_test

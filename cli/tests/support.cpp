#include "support.h"

#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "alert_config.h"
#include "alert_log.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

// Ends a program that hangs, by its own alarm.
constexpr unsigned kRunTimeMax_s = 60;

constexpr char kAllXml[] = R"(<root><all>
  <path>@ROOT@</path>
  <core>0</core>
</all></root>
)";

constexpr char kWebalertXml[] = R"(<root><webalert>
  <use>1</use>
  <daemon><udpport>29003</udpport><timeout>60</timeout><socket>@ROOT@/qelalertd.sock</socket></daemon>
  <main>
    <alertlog>
      <name>log/alertlog.alt</name>
      <maxrecordcount>100</maxrecordcount>
    </alertlog>
    <log><size>4194304</size><level>4</level></log>
  </main>
</webalert></root>
)";

constexpr char kAlertXml[] = R"(<root><alert>
  <path>cmd/bin/</path>
  <log><size>4194304</size><level>4</level></log>
</alert></root>
)";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  if (at == std::string::npos) throw std::runtime_error("not found: " + from);
  return text.replace(at, from.size(), to);
}

// What a terminal and the surroundings of the test must not decide.
const std::map<std::string, std::string> kSurroundings = {
    {"QELALERT_SOCKET", ""}, {"QELALERT_PAGER", "cat"}, {"NO_COLOR", ""},
    {"TERM", "xterm"},       {"LC_ALL", "C.UTF-8"},     {"TZ", "UTC"}};

[[noreturn]] void become_program(const std::vector<std::string>& arguments,
                                 const RunOptions& options, const Streams& streams) {
  for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> argv = {const_cast<char*>("qelalert")};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  streams.take();
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // also when the test itself is killed
  alarm(kRunTimeMax_s);
  if (options.prepare) options.prepare();
  execv(QELALERT_PROGRAM, argv.data());
  _exit(127);
}

}  // namespace

RunningTool::RunningTool(const std::string& files, const std::vector<std::string>& arguments,
                         const RunOptions& options)
    : streams_(files, options), pid_(fork()) {
  if (pid_ < 0) throw std::runtime_error("fork");
  if (pid_ == 0) become_program(arguments, options, streams_);
  streams_.leave_to_program();
}

RunningTool::~RunningTool() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) continue;
}

void RunningTool::kill(int signal) const { ::kill(pid_, signal); }

Result RunningTool::wait() {
  std::string out = streams_.read_terminal();
  int status = 0;
  while (waitpid(pid_, &status, 0) == -1 && errno == EINTR) continue;
  pid_ = -1;
  const int exit_code = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
  return {exit_code, out + streams_.out(), streams_.err()};
}

TempCluster::TempCluster() {
  std::filesystem::create_directory(root() + "/config");
  std::filesystem::create_directory(root() + "/diag");
  alt_test::write_file(config_path("cluster.xml"), "<root/>\n");
  alt_test::write_file(config_path("all.xml"), replaced(kAllXml, "@ROOT@", root()));
  alt_test::write_file(config_path("webalert.xml"), replaced(kWebalertXml, "@ROOT@", root()));
  alt_test::write_file(config_path("alert.xml"), kAlertXml);
}

void TempCluster::edit_config(const std::string& file, const std::string& from,
                              const std::string& to) const {
  const std::string path = config_path(file);
  alt_test::write_file(path, replaced(alt_test::read_file(path).value(), from, to));
}

void TempCluster::set_capacity(int records) const {
  alt_max_count = records;
  edit_config("webalert.xml", "<maxrecordcount>100<",
              "<maxrecordcount>" + std::to_string(records) + "<");
}

void TempCluster::store_alert(const ALERT_RECORD_INFO& alert) const {
  ASSERT_EQ(0, udp_write_disk(alt_test::image(alert), sizeof alert, 1));
}

void TempCluster::store_alerts(uint32_t first_id, uint32_t last_id) const {
  for (uint32_t id = first_id; id <= last_id; ++id) {
    ALERT_RECORD_INFO alert = alt_test::make_record(id);
    alt_test::set_text(alert.szWriteTime, alert.szServerTime);
    store_alert(alert);
  }
}

std::map<std::string, std::string> TempCluster::store_files() const {
  return alt_test::read_directory(store_.directory());
}

Result TempCluster::run(const std::vector<std::string>& arguments,
                        const RunOptions& options) const {
  return start(arguments, options)->wait();
}

std::unique_ptr<RunningTool> TempCluster::start(const std::vector<std::string>& arguments,
                                                const RunOptions& options) const {
  RunOptions complete = options;
  complete.environment.insert(
      {{"QEL_CONFIG_DIR", root() + "/config"}, {"QEL_LOG_DIR", root() + "/diag"}});
  complete.environment.insert(kSurroundings.begin(), kSurroundings.end());
  const std::string files = root() + "/run" + std::to_string(++runs_);
  return std::make_unique<RunningTool>(files, arguments, complete);
}

void expect_refused(const Result& result, int exit_code, const std::vector<std::string>& parts) {
  EXPECT_EQ(exit_code, result.exit_code) << result.err;
  EXPECT_EQ("", result.out);
  for (const std::string& part : parts) {
    EXPECT_NE(std::string::npos, result.err.find(part))
        << "missing: " << part << "\nin: " << result.err;
  }
}

// The next program of this process, root's included, starts without the rights to override.
void obey_file_rights() {
  (void)prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
  (void)prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
}

}  // namespace qel::cli::testing

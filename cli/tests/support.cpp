#include "support.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "alert_log.h"
#include "common/unique_fd.h"
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

std::string content_of(const std::string& path) {
  const std::optional<std::string> content = alt_test::read_file(path);
  if (!content) throw std::runtime_error("missing: " + path);
  return *content;
}

// The standard descriptors of a program to be run, with what it wrote afterwards.
class Streams {
 public:
  Streams(const std::string& directory, const RunOptions& options)
      : input_(directory + "/stdin"),
        captured_(options.out_path.empty()),
        out_(captured_ ? directory + "/stdout" : options.out_path),
        err_(directory + "/stderr") {
    alt_test::write_file(input_, options.input);
    if (options.terminal_columns > 0) open_terminal(options.terminal_columns);
  }

  // In the child.
  void take() const {
    dup2(open(input_.c_str(), O_RDONLY), STDIN_FILENO);
    const int made = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(slave_ ? slave_.get() : open(out_.c_str(), made, 0644), STDOUT_FILENO);
    dup2(open(err_.c_str(), made, 0644), STDERR_FILENO);
  }

  // Nothing when it went into a file that the test named: that may be an endless device.
  std::string written_out() {
    if (master_) return read_terminal();
    return captured_ ? content_of(out_) : "";
  }
  std::string written_err() const { return content_of(err_); }

 private:
  void open_terminal(int columns) {
    winsize size{};
    size.ws_row = 25;
    size.ws_col = static_cast<unsigned short>(columns);
    int master = -1;
    int slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, &size) != 0) throw std::runtime_error("openpty");
    master_ = UniqueFd(master);
    slave_ = UniqueFd(slave);
  }

  // The program is gone, and with the slave the terminal's last writer: reading ends in an error.
  std::string read_terminal() {
    slave_ = UniqueFd();
    std::string text;
    char piece[4096];
    ssize_t count;
    while ((count = read(master_.get(), piece, sizeof piece)) > 0) {
      text.append(piece, static_cast<size_t>(count));
    }
    return text;
  }

  std::string input_;
  bool captured_;
  std::string out_;
  std::string err_;
  UniqueFd master_;
  UniqueFd slave_;
};

[[noreturn]] void become_program(const std::vector<std::string>& arguments,
                                 const RunOptions& options, const Streams& streams) {
  for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> argv = {const_cast<char*>("qelalert")};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  streams.take();
  alarm(kRunTimeMax_s);
  if (options.prepare) options.prepare();
  execv(QELALERT_PROGRAM, argv.data());
  _exit(127);
}

int wait_for(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1 && errno == EINTR) continue;
  return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

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
  alt_test::write_file(path, replaced(content_of(path), from, to));
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
  RunOptions complete = options;
  complete.environment.insert({{"QEL_CONFIG_DIR", root() + "/config"},
                               {"QEL_LOG_DIR", root() + "/diag"},
                               {"QELALERT_SOCKET", ""},
                               {"LC_ALL", "C.UTF-8"},
                               {"TZ", "UTC"}});
  Streams streams(root(), complete);
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork");
  if (pid == 0) become_program(arguments, complete, streams);
  const int exit_code = wait_for(pid);
  return {exit_code, streams.written_out(), streams.written_err()};
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

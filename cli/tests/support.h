// The program as its users meet it: the built qelalert, run with a configuration and a store of its
// own.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "streams.h"
#include "support/records.h"
#include "support/temp_store.h"

namespace qel::cli::testing {

struct Result {
  int exit_code;  // 1000 and the signal's number when a signal ended it
  std::string out;
  std::string err;
};

// A started program; the end of the scope kills it.
class RunningTool {
 public:
  // `files`: how the names of the files for its input and output begin.
  RunningTool(const std::string& files, const std::vector<std::string>& arguments,
              const RunOptions& options);
  ~RunningTool();
  RunningTool(const RunningTool&) = delete;
  RunningTool& operator=(const RunningTool&) = delete;

  void kill(int signal) const;
  std::string out() const { return streams_.out(); }  // so far; a terminal's comes by wait alone
  std::string err() const { return streams_.err(); }
  Result wait();

 private:
  Streams streams_;
  pid_t pid_;
};

// A store with the configuration that leads to it:
//   log/     the store            cmd/   semaphore files
//   config/  the four XML files   diag/  diagnostic logs
class TempCluster {
 public:
  TempCluster();

  const std::string& root() const { return store_.root(); }
  std::string store_path(const std::string& name) const { return store_.path(name); }
  std::string config_path(const std::string& name) const { return root() + "/config/" + name; }
  std::string socket_path() const { return root() + "/qelalertd.sock"; }
  std::string diagnostic_log() const { return root() + "/diag/alert.log"; }

  // Replaces `from`, which must be there, in one of the XML files.
  void edit_config(const std::string& file, const std::string& from, const std::string& to) const;

  // For a log that is not there yet: the capacity of the test and of the program.
  void set_capacity(int records) const;

  // Stores an alert in the log, as the daemon does.
  void store_alert(const ALERT_RECORD_INFO& alert) const;
  void store_alerts(uint32_t first_id, uint32_t last_id) const;

  // Content of every file of the store, by name.
  std::map<std::string, std::string> store_files() const;

  Result run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;
  std::unique_ptr<RunningTool> start(const std::vector<std::string>& arguments,
                                     const RunOptions& options = {}) const;

 private:
  mutable int runs_ = 0;  // each has files of its own
  alt_test::TempStore store_{kCapacity};

  static constexpr int kCapacity = 100;
};

// A test with a cluster of its own.
class CliTest : public ::testing::Test {
 protected:
  Result qelalert(const std::vector<std::string>& arguments, const RunOptions& options = {}) const {
    return cluster_.run(arguments, options);
  }

  TempCluster cluster_;
};

// A bad call: the exit code and one message that holds all the parts; nothing on standard output.
void expect_refused(const Result& result, int exit_code, const std::vector<std::string>& parts);

// For RunOptions::prepare: from here on the rights of files bind root as well.
void obey_file_rights();

}  // namespace qel::cli::testing

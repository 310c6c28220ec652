// The program as its users meet it: the built qelalert, run with a configuration and a store of its
// own.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/records.h"
#include "support/temp_store.h"

namespace qel::cli::testing {

struct Result {
  int exit_code;  // 1000 and the signal's number when a signal ended it
  std::string out;
  std::string err;
};

struct RunOptions {
  std::string input{};                               // its standard input
  std::map<std::string, std::string> environment{};  // added to the inherited one
  std::string out_path{};           // a file for its standard output; else it is captured
  int terminal_columns = 0;         // above 0: standard output is a terminal
  std::function<void()> prepare{};  // runs in the child before the program
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

  // Stores an alert in the log, as the daemon does.
  void store_alert(const ALERT_RECORD_INFO& alert) const;
  void store_alerts(uint32_t first_id, uint32_t last_id) const;

  // Content of every file of the store, by name.
  std::map<std::string, std::string> store_files() const;

  Result run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;

 private:
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

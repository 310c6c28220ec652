// One server of the alert log, with everything of it in a directory of its own.
#pragma once

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "program.h"

namespace qel::system_test {

// Makes, in a fresh directory,
//   etc/    the sample configuration with its paths turned to here
//   store/  log, indexes, intake      lock/  semaphore files
//   log/    diagnostic logs           run/   pid file and socket
// The end removes the directory, the semaphores and the shared state.
class Server {
 public:
  // This host. Points the environment of the test to the directory, so that whatever it starts
  // belongs to this server. One at a time.
  Server();
  // One of several, each on a host of that name (host.h). The test itself belongs to none of them.
  explicit Server(const std::string& host);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // For a forked process: makes it a process of this server.
  void enter() const;

  const std::string& host() const { return host_; }
  const std::string& root() const { return root_; }
  std::string path(const std::string& name) const { return root_ + "/" + name; }
  std::string store(const std::string& name) const { return root_ + "/store/" + name; }
  std::string config(const std::string& section) const { return path("etc/" + section + ".xml"); }

  // Replaces the text of an element of the configuration.
  void set(const std::string& section, const std::string& element, const std::string& text) const;
  void set_capacity(int records) const;
  // Replaces any piece of a configuration file; it must be there.
  void edit(const std::string& section, const std::string& from, const std::string& to) const;

  // The daemon, as soon as its process is there, or when it answers on its socket.
  std::unique_ptr<Program> launch_daemon(
      const std::map<std::string, std::string>& environment = {});
  std::unique_ptr<Program> start_daemon(const std::map<std::string, std::string>& environment = {});
  // Ends the daemon as the service manager does; its exit status.
  static std::optional<int> stop(Program* daemon);

  // Runs the tool to its end.
  std::unique_ptr<Program> run_tool(const std::vector<std::string>& arguments);

  // The status that the daemon tells; null when it does not answer.
  nlohmann::json status() const;
  // Whether the daemon has stored everything in the intake.
  bool intake_is_empty() const;
  std::string diagnostic_log() const;
  bool logged(const std::string& text) const;

 private:
  std::string shared_state() const;
  std::map<std::string, std::string> environment() const;
  std::string next_output();

  std::string host_;  // empty: this one
  std::string root_;
  int outputs_ = 0;
};

// Removes the semaphores that are named after the files of a directory.
void remove_semaphores(const std::string& directory);

}  // namespace qel::system_test

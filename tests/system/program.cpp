#include "program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "host.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

constexpr useconds_t kLookAgain_us = 2000;

void take_output(const std::string& path, int descriptor) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

int become(const std::vector<std::string>& arguments, const std::string& output,
           const std::map<std::string, std::string>& environment, const std::string& host) {
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  if (!host.empty()) move_to_host(host);
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // also when the test itself is killed
  std::vector<char*> texts;
  for (const std::string& argument : arguments)
    texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  take_output(output + ".out", STDOUT_FILENO);
  take_output(output + ".err", STDERR_FILENO);
  execv(texts[0], texts.data());
  return 127;
}

}  // namespace

bool eventually(const std::function<bool()>& holds, std::chrono::seconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  bool held = holds();
  while (!held && std::chrono::steady_clock::now() < deadline) {
    usleep(kLookAgain_us);
    held = holds();
  }
  return held;
}

Program::Program(const std::vector<std::string>& arguments, const std::string& output,
                 const std::map<std::string, std::string>& environment, const std::string& host)
    : output_(output), child_([&] { return become(arguments, output, environment, host); }) {}

bool Program::has_ended() const {
  siginfo_t ended = {};
  const int result = waitid(P_PID, static_cast<id_t>(pid()), &ended, WEXITED | WNOHANG | WNOWAIT);
  return result != 0 || ended.si_pid != 0;
}

std::optional<int> Program::wait() {
  if (!eventually([this] { return has_ended(); })) return std::nullopt;
  return child_.wait();
}

std::string Program::out() const { return alt_test::read_file(output_ + ".out").value_or(""); }

std::string Program::err() const { return alt_test::read_file(output_ + ".err").value_or(""); }

}  // namespace qel::system_test

#include "support/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>

namespace alt_test {
namespace {

int run_guarded(const std::function<int()>& work) {
  try {
    return work();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "child process: %s\n", error.what());
  } catch (...) {
    std::fprintf(stderr, "child process: unknown exception\n");
  }
  return kChildThrew;
}

// The status of an ended child; nothing when there is no such child.
std::optional<int> reap(pid_t pid) {
  int status = 0;
  pid_t ended;
  do {
    ended = waitpid(pid, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended != pid) return std::nullopt;
  return status;
}

}  // namespace

Child::Child(const std::function<int()>& work) {
  // What stands in the buffers would otherwise be printed by both.
  std::fflush(nullptr);
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ > 0) return;
  const int status = run_guarded(work);
  std::fflush(nullptr);
  _exit(status);
}

Child::~Child() {
  if (reaped_) return;
  ::kill(pid_, SIGKILL);
  reap(pid_);
}

void Child::kill(int signal) const { ::kill(pid_, signal); }

int Child::wait() {
  const std::optional<int> status = reap(pid_);
  reaped_ = true;
  if (!status) throw std::runtime_error("waitpid failed");
  return WIFSIGNALED(*status) ? kChildSignalled + WTERMSIG(*status) : WEXITSTATUS(*status);
}

int in_process(const std::function<int()>& work) {
  Child child(work);
  return child.wait();
}

}  // namespace alt_test

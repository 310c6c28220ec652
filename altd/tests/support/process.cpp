#include "support/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
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

std::string text_of_process(const std::function<std::string()>& work) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
  if (file == nullptr) throw std::runtime_error("tmpfile failed");
  const int status = in_process([&] {
    const std::string text = work();
    const size_t written = std::fwrite(text.data(), 1, text.size(), file.get());
    return written == text.size() && std::fflush(file.get()) == 0 ? 0 : 1;
  });
  if (status != 0) throw std::runtime_error("child ended with " + std::to_string(status));
  std::rewind(file.get());
  std::string text;
  for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) {
    text += static_cast<char>(c);
  }
  return text;
}

}  // namespace alt_test

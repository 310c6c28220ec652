/* What the tests of the platform libraries share: scratch directories, environment, processes. */
#ifndef QEL_PLATFORM_TEST_SUPPORT_H
#define QEL_PLATFORM_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <regex.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qel::testing {

/* A directory of its own, gone with everything in it at the end of the scope. */
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "qel-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make " + name);
    }
    path_ = name;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/* One environment variable for the length of the scope; null unsets it. */
class ScopedVariable {
 public:
  ScopedVariable(std::string name, const char* value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) {
      before_ = before;
    }
    set(value);
  }
  ~ScopedVariable() { set(before_ ? before_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void set(const char* value) const {
    if (value != nullptr) {
      ::setenv(name_.c_str(), value, 1);
    } else {
      ::unsetenv(name_.c_str());
    }
  }

  const std::string name_;
  std::optional<std::string> before_;
};

/* A forked process that runs `work` and exits with its result; killed at the end of the scope when
 * it still runs. */
class Child {
 public:
  template <typename Work>
  explicit Child(Work work) : pid_(::fork()) {
    if (pid_ == 0) {
      try {
        ::_exit(work());
      } catch (const std::exception&) {
        ::_exit(125);
      }
    }
  }
  Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { (void)kill(); }

  pid_t pid() const { return pid_; }

  /* Whether wait() would return at once. */
  bool has_ended() const {
    siginfo_t info{};
    return ::waitid(P_PID, pid_, &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
  }

  /* Exit status, or 1000 + the signal that ended it; -1 when there is nothing to wait for. */
  int wait() {
    int status = -1;
    if (pid_ <= 0 || ::waitpid(pid_, &status, 0) != pid_) {
      return -1;
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }

  int kill() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
    }
    return wait();
  }

 private:
  pid_t pid_;
};

/* Returns when a process or thread sleeps in the kernel; false when it never did. */
inline bool wait_until_asleep(pid_t id) {
  for (int look = 0; look < 100'000; look++) {
    std::ifstream status("/proc/" + std::to_string(id) + "/stat");
    std::string number;
    std::string name;
    char state = 0;
    if (status >> number >> name >> state && state == 'S') {
      return true;
    }
    ::usleep(100);
  }
  return false;
}

/* A byte channel between processes. Reading waits for a byte or for the last writer's end. */
class Channel {
 public:
  Channel() {
    if (::pipe(ends_) != 0) {
      throw std::runtime_error("no pipe");
    }
  }
  ~Channel() {
    ::close(ends_[0]);
    close_writer();
  }
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  bool send(char byte = '.') const { return ::write(ends_[1], &byte, 1) == 1; }
  std::optional<char> receive() const {
    char byte = 0;
    return ::read(ends_[0], &byte, 1) == 1 ? std::optional<char>(byte) : std::nullopt;
  }
  /* Ends the channel on this process's side: readers elsewhere go on when the last one did. */
  void close_writer() {
    if (ends_[1] >= 0) {
      ::close(ends_[1]);
      ends_[1] = -1;
    }
  }

 private:
  int ends_[2] = {-1, -1};
};

/* Many processes set off by one event: each waits at the gate, open() lets all go. */
class Gate {
 public:
  void wait_in_child() {
    channel_.close_writer();
    (void)channel_.receive();
  }
  void open() { channel_.close_writer(); }

 private:
  Channel channel_;
};

inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

inline void write_file(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  ASSERT_TRUE(file.flush().good()) << path;
}

inline std::vector<std::string> read_lines(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

/* Whether the whole text matches a POSIX extended regular expression. */
inline bool matches(const std::string& text, const std::string& pattern) {
  regex_t compiled;
  if (::regcomp(&compiled, ("^(" + pattern + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
    throw std::runtime_error("not a pattern: " + pattern);
  }
  const bool matched = ::regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
  ::regfree(&compiled);
  return matched;
}

}  // namespace qel::testing

#endif

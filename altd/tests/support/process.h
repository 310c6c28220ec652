// Work in a process of its own: globals, record locks and semaphores belong to a process.
#ifndef QEL_ALTD_TESTS_SUPPORT_PROCESS_H
#define QEL_ALTD_TESTS_SUPPORT_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>

namespace alt_test {

// Results of a child that did not end by returning from its work.
constexpr int kChildThrew = 125;
constexpr int kChildSignalled = 1000;  // plus the number of the signal

// A forked child that runs `work` and leaves with its result as exit status (0 to 123) without
// running the parent's exit handlers. The destructor kills and reaps a child still running.
class Child {
 public:
  explicit Child(const std::function<int()>& work);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  void kill(int signal) const;
  // The exit status, kChildThrew, or kChildSignalled + signal.
  int wait();

 private:
  pid_t pid_;
  bool reaped_ = false;
};

// Runs `work` in a child and waits for it.
int in_process(const std::function<int()>& work);

// The same for work whose result is a text; a child that did not return from it throws here.
std::string text_of_process(const std::function<std::string()>& work);

}  // namespace alt_test

#endif

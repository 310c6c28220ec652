#include "output/pager.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "alerts/failure.h"
#include "alerts/visible_text.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kUsualPager[] = "less";

// Ends by itself when all fits on the screen, keeps colours, cuts long lines, leaves the text on
// the screen.
constexpr char kLessOptions[] = "FRSXMK";

const char* pager_program() {
  for (const char* name : {"QELALERT_PAGER", "PAGER"}) {
    if (const char* program = getenv(name)) return program;
  }
  return kUsualPager;
}

// The program that a shell would run for the command; empty when that is not plain to see.
std::string program_of(const std::string& command) {
  const size_t begin = command.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  const std::string word = command.substr(begin, command.find(' ', begin) - begin);
  return word.find_first_of("=$`'\"\\~(){}<>|&;*?[") == std::string::npos ? word : "";
}

// Whether the shell finds it, as far as that is plain to see.
bool is_there(const char* command) {
  const std::string program = program_of(command);
  return program.empty() || system(("command -v '" + program + "' >/dev/null 2>&1").c_str()) == 0;
}

[[noreturn]] void become_pager(const char* program, int input) {
  dup2(input, STDIN_FILENO);
  signal(SIGPIPE, SIG_DFL);
  setenv("LESS", kLessOptions, 0);
  execl("/bin/sh", "sh", "-c", program, nullptr);
  _exit(127);
}

}  // namespace

Pager::Pager(bool wanted) {
  const char* const program = pager_program();
  if (!wanted || !output_is_terminal()) return;
  if (program[0] == '\0' || strcmp(program, "cat") == 0) return;
  if (is_there(program)) {
    start(program);
  } else if (strcmp(program, kUsualPager) != 0) {
    message("there is no pager " + in_quotes(program));
  }
}

void Pager::start(const char* program) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0)
    throw Failure(kFailed, with_errno("cannot start a pager", errno));
  pid_ = fork();
  if (pid_ == 0) become_pager(program, ends[0]);
  if (pid_ > 0) dup2(ends[1], STDOUT_FILENO);
  close(ends[0]);
  close(ends[1]);
}

Pager::~Pager() {
  if (pid_ < 0) return;
  try {
    flush_output();
  } catch (const std::exception&) {
    // The operator has left it before the end.
  }
  close(STDOUT_FILENO);
  while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) continue;
}

}  // namespace qel::cli

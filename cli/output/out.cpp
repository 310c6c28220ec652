#include "output/out.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "alerts/failure.h"

namespace qel::cli {
namespace {

constexpr size_t kPiece = 65536;  // bytes, what a pipe takes at once

std::string& collected() {
  static std::string text;
  return text;
}

void write_out(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EPIPE) {
      throw ReaderGone();
    } else if (errno != EINTR) {
      throw Failure(kFailed, with_errno("cannot write to standard output", errno));
    }
  }
}

// The answers of the first call hold: with a pager, standard output is a pipe from then on.
struct Terminal {
  bool present = isatty(STDOUT_FILENO) != 0;
  size_t width = 0;

  Terminal() {
    winsize size{};
    if (present && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) width = size.ws_col;
  }
};

const Terminal& terminal() {
  static const Terminal found;
  return found;
}

}  // namespace

void print(std::string_view text) {
  collected() += text;
  if (collected().size() >= kPiece) flush_output();
}

void flush_output() {
  std::string text;
  text.swap(collected());  // what fails is not written again
  write_out(text);
}

bool output_is_terminal() { return terminal().present; }

size_t terminal_width() { return terminal().width; }

}  // namespace qel::cli

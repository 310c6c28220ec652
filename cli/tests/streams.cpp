#include "streams.h"

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <stdexcept>

#include "support/files.h"

namespace qel::cli::testing {

Streams::Streams(const std::string& files, const RunOptions& options)
    : input_(files + ".in"),
      captured_(options.out_path.empty() && options.terminal_columns == 0),
      out_(options.out_path.empty() ? files + ".out" : options.out_path),
      err_(files + ".err") {
  alt_test::write_file(input_, options.input);
  if (options.terminal_columns > 0) open_terminal(options.terminal_columns);
}

void Streams::take() const {
  dup2(open(input_.c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  const int made = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  dup2(slave_ ? slave_.get() : open(out_.c_str(), made, 0644), STDOUT_FILENO);
  dup2(open(err_.c_str(), made, 0644), STDERR_FILENO);
}

// Without the slave here, reading ends when the program has closed it.
void Streams::leave_to_program() { slave_ = UniqueFd(); }

std::string Streams::read_terminal() {
  std::string text;
  char piece[4096];
  ssize_t count;
  while (master_ && (count = read(master_.get(), piece, sizeof piece)) > 0) {
    text.append(piece, static_cast<size_t>(count));
  }
  return text;
}

std::string Streams::out() const { return captured_ ? alt_test::read_file(out_).value_or("") : ""; }

std::string Streams::err() const { return alt_test::read_file(err_).value_or(""); }

void Streams::open_terminal(int columns) {
  winsize size{};
  size.ws_row = 25;
  size.ws_col = static_cast<unsigned short>(columns);
  int master = -1;
  int slave = -1;
  if (openpty(&master, &slave, nullptr, nullptr, &size) != 0) throw std::runtime_error("openpty");
  master_ = UniqueFd(master);
  slave_ = UniqueFd(slave);
  (void)fcntl(master, F_SETFD, FD_CLOEXEC);
  (void)fcntl(slave, F_SETFD, FD_CLOEXEC);
}

}  // namespace qel::cli::testing

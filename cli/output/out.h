// Standard output: what a command has found. Messages about it go to standard error (failure.h).
#pragma once

#include <stdexcept>
#include <string_view>

namespace qel::cli {

// Whoever read standard output has closed it: there is nobody left to tell anything.
class ReaderGone : public std::runtime_error {
 public:
  ReaderGone() : std::runtime_error("standard output is closed") {}
};

// Adds text to standard output, which is written in large pieces. Throws ReaderGone, or a Failure
// with the reason: data that did not reach its reader must not look like success.
void print(std::string_view text);

// Writes what print has collected; throws as print does.
void flush_output();

// Whether standard output is a terminal. Also true while a pager stands before it.
bool output_is_terminal();

// Columns of the terminal that standard output is, 0 when it is none.
size_t terminal_width();

}  // namespace qel::cli

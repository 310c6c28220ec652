// A line of the intake file, which the program leaves for the daemon.
#pragma once

#include <cstddef>
#include <string>

namespace qel::cli::testing {

constexpr size_t kLineSize = 684;

inline std::string padded(const std::string& text, size_t width) {
  return text + std::string(width - text.size(), ' ');
}

// Cut into its columns.
struct IntakeLine {
  explicit IntakeLine(const std::string& bytes)
      : id(bytes.substr(0, 10)),
        written(bytes.substr(10, 24)),
        raised(bytes.substr(34, 24)),
        server(bytes.substr(58, 65)),
        module(bytes.substr(123, 32)),
        event(bytes.substr(155, 8)),
        level(bytes.substr(163, 8)),
        message(bytes.substr(171, 512)),
        end(bytes.substr(683)) {}

  std::string id, written, raised, server, module, event, level, message, end;
};

}  // namespace qel::cli::testing

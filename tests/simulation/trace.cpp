#include "trace.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "datagram.h"

namespace qel::simulation {
namespace {

constexpr uint64_t kPrime = 1099511628211U;  // FNV-1a
constexpr size_t kEventsMax = 100000;        // more than any run has
constexpr size_t kLinesMax = 60;             // of messages and of datagrams in a story

std::ofstream* log_file() {
  static const char* const path = std::getenv("QEL_SIMULATION_LOG");
  static std::ofstream file(path != nullptr ? path : "");
  return path != nullptr ? &file : nullptr;
}

std::string describe(const std::string& datagram) {
  char text[64];
  snprintf(text, sizeof text, "type %#x sequence %u, %zu bytes", type_of(datagram),
           sequence_of(datagram), datagram.size());
  return text;
}

std::string joined(const char* title, const std::deque<std::string>& lines) {
  std::string text = std::string(title) + "\n";
  for (const std::string& line : lines) text += "  " + line + "\n";
  return text;
}

}  // namespace

void Trace::mix(const std::string& bytes) {
  const std::string whole = std::to_string(queue_.now()) + bytes;
  for (const char byte : whole) {
    hash_ = (hash_ ^ static_cast<unsigned char>(byte)) * kPrime;
  }
}

std::string Trace::stamped(const std::string& text) const {
  char seconds[32];
  snprintf(seconds, sizeof seconds, "%9.3f ",
           static_cast<double>(queue_.now()) / static_cast<double>(kSecond));
  return seconds + text;
}

void Trace::keep(std::deque<std::string>* lines, std::string line, size_t count_max) {
  if (log_file() != nullptr) *log_file() << line << std::endl;
  lines->push_back(std::move(line));
  if (lines->size() > count_max) lines->pop_front();
}

void Trace::event(const std::string& text) {
  mix(text);
  keep(&events_, stamped(text), kEventsMax);
}

void Trace::datagram(const std::string& from, const std::string& to, const std::string& bytes,
                     const char* fate) {
  mix(from + to + fate + bytes);
  keep(&datagrams_, stamped(from + " -> " + to + " " + describe(bytes) + " " + fate), kLinesMax);
}

void Trace::message(const std::string& server, const std::string& text) {
  keep(&messages_, stamped(server + ": " + text), kLinesMax);
}

std::string Trace::story() const {
  return joined("last datagrams:", datagrams_) + joined("last messages:", messages_) +
         joined("what befell the cluster:", events_);
}

}  // namespace qel::simulation

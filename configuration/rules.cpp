#include "configuration/rules.h"

#include <algorithm>
#include <iterator>

namespace qel::configuration {

namespace {

constexpr size_t kShownMax = 64;  // of a wrong value in a message

std::string level_fault(int level) {
  if (std::find(std::begin(kLevels), std::end(kLevels), level) != std::end(kLevels)) return {};
  std::string listed;
  for (const int allowed : kLevels) {
    listed += (listed.empty() ? "" : ", ") + std::to_string(allowed);
  }
  return std::to_string(level) + " is not one of " + listed;
}

// Two servers that answer each other's requests with a request of their own settle only when the
// second one still finds the first one waiting.
void check_new_server(const Times& times, std::vector<Fault>* faults) {
  if (times.new_server < times.names_wait) return;
  faults->push_back({key_at("/root/webalert/daemon/sync/newserver").path,
                     std::to_string(times.new_server) + " is not below " +
                         key_at("/root/webalert/daemon/sync/names").path + ", " +
                         std::to_string(times.names_wait)});
}

// A resynchronisation must outlast its longest wait without being judged stalled.
void check_stall(const Times& times, std::vector<Fault>* faults) {
  const int64_t drop = int64_t{times.resend} * times.retries + 1;
  const int64_t longest = std::max<int64_t>({times.names_wait, times.ids_wait, drop});
  if (times.stall > longest) return;
  faults->push_back(
      {key_at("/root/webalert/daemon/sync/resynctimeinterval").path,
       std::to_string(times.stall) + " is not above the longest wait, " + std::to_string(longest)});
}

}  // namespace

std::string shown(std::string_view text) {
  const bool whole = text.size() <= kShownMax;
  return "\"" + std::string(text.substr(0, kShownMax)) + (whole ? "\"" : "...\"");
}

std::string number_fault(const Key& key, int number) {
  if (key.kind == Kind::kLevel) return level_fault(number);
  if (number >= key.lowest && number <= key.highest) return {};
  return std::to_string(number) + " is not within " + std::to_string(key.lowest) + " to " +
         std::to_string(key.highest);
}

std::string path_fault(std::string_view path) {
  return path.starts_with('/') ? std::string() : shown(path) + " is not an absolute path";
}

std::vector<Fault> faults_between(const Times& times) {
  std::vector<Fault> faults;
  check_new_server(times, &faults);
  check_stall(times, &faults);
  return faults;
}

}  // namespace qel::configuration

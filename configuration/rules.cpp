#include "configuration/rules.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "configuration/listen.h"

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

std::string length_fault(const Key& key, std::string_view text) {
  if (text.empty()) return "is empty";
  if (text.size() <= static_cast<size_t>(key.highest)) return {};
  return shown(text) + " has " + std::to_string(text.size()) + " bytes, at most " +
         std::to_string(key.highest) + " are allowed";
}

std::string listen_fault(std::string_view text) {
  if (is_listen_address(text)) return {};
  return shown(text) + " is not a numeric address and port such as 127.0.0.1:29080 or [::1]:29080";
}

// As a Host header has it, without a port.
bool is_host(const std::string& text) {
  constexpr std::string_view kCharacters =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  in6_addr address;
  return text.find_first_not_of(kCharacters) == std::string::npos ||
         (text.front() == '[' && text.back() == ']' &&
          inet_pton(AF_INET6, text.substr(1, text.size() - 2).c_str(), &address) == 1);
}

std::string hosts_fault(std::string_view text) {
  std::istringstream hosts{std::string(text)};
  for (std::string host; hosts >> host;) {
    if (!is_host(host)) return shown(host) + " is not the name of a host, nor its address";
  }
  return {};
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

// Alerts and passwords go over a network only encrypted, and only to those who may read.
void check_openness(const Access& access, std::vector<Fault>* faults) {
  if (!is_open_to_others(access.listen)) return;
  if (access.certificate && access.key && access.users) return;
  faults->push_back({key_at("/root/webalert/web/listen").path,
                     shown(access.listen) + " is open to others, which needs \"certificate\", "
                                            "\"key\" and \"users\" beside it"});
}

void check_pair(const Access& access, std::vector<Fault>* faults) {
  if (access.certificate == access.key) return;
  const Key& certificate = key_at("/root/webalert/web/certificate");
  const Key& key = key_at("/root/webalert/web/key");
  const Key& there = access.key ? key : certificate;
  const Key& missing = access.key ? certificate : key;
  faults->push_back({there.path, std::string("needs ") + missing.path});
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

std::string text_fault(const Key& key, std::string_view text) {
  std::string fault;
  if (key.kind == Kind::kPath) fault = path_fault(text);
  if (key.kind == Kind::kListen) fault = listen_fault(text);
  if (key.kind == Kind::kHosts) fault = hosts_fault(text);
  return fault.empty() ? length_fault(key, text) : fault;
}

std::vector<Fault> faults_between(const Times& times) {
  std::vector<Fault> faults;
  check_new_server(times, &faults);
  check_stall(times, &faults);
  return faults;
}

std::vector<Fault> faults_between(const Access& access) {
  std::vector<Fault> faults;
  check_openness(access, &faults);
  check_pair(access, &faults);
  return faults;
}

}  // namespace qel::configuration

#include "cluster_alerts.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <stdexcept>

#include "alert_log.h"
#include "raising.h"
#include "store_content.h"
#include "support/records.h"
#include "unique_fd.h"

namespace qel::system_test {
namespace {

constexpr int64_t kSecond_ns = 1000000000;
constexpr char kRaised[] = " raised ";
constexpr size_t kToldMax = 10;  // alerts that a fault names

ALERT_RECORD_INFO cluster_alert(const std::string& server, uint32_t number) {
  ALERT_RECORD_INFO alert = numbered_alert(number);
  alt_test::set_text(alert.szServer, server);
  alt_test::set_text(alert.szAlertMessage,
                     alert.szAlertMessage + (kRaised + std::to_string(monotonic_ns())));
  return alert;
}

// The n-th alert is due n pauses after the start, whatever the ones before it took.
void sleep_until(int64_t due_ns) {
  const timespec due = {due_ns / kSecond_ns, due_ns % kSecond_ns};
  clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
}

int raise_all(const Server& server, uint32_t first, const Raising& raising) {
  return as_program([&] {
    const int64_t start = monotonic_ns();
    int result = 0;
    for (uint32_t n = 0; n < raising.each; ++n) {
      if (raising.pause_us > 0) sleep_until(start + int64_t{n} * raising.pause_us * 1000);
      ALERT_RECORD_INFO alert = cluster_alert(server.host(), first + n);
      if (alert_log_lib_write(&alert) != 0) result = 2;
    }
    return result;
  });
}

std::string list_of(const std::vector<uint32_t>& numbers) {
  std::string text = std::to_string(numbers.size()) + ":";
  for (size_t i = 0; i < std::min(numbers.size(), kToldMax); ++i) {
    text += " " + std::to_string(numbers[i]);
  }
  return text + (numbers.size() > kToldMax ? " ...\n" : "\n");
}

std::string fault_in_numbers(const std::vector<uint32_t>& held,
                             const std::vector<uint32_t>& expected) {
  std::vector<uint32_t> missing;
  std::vector<uint32_t> surplus;
  std::set_difference(expected.begin(), expected.end(), held.begin(), held.end(),
                      std::back_inserter(missing));
  std::set_difference(held.begin(), held.end(), expected.begin(), expected.end(),
                      std::back_inserter(surplus));
  std::string fault;
  if (!missing.empty()) fault += "not there " + list_of(missing);
  if (!surplus.empty()) fault += "too often or not to be there " + list_of(surplus);
  return fault;
}

std::string fault_in_ids(const std::vector<ALERT_RECORD_INFO>& alerts) {
  std::set<std::pair<std::string, uint32_t>> ids;
  for (const ALERT_RECORD_INFO& alert : alerts) {
    if (!ids.emplace(alert.szServer, alert.alert_id).second) {
      return "id " + std::to_string(alert.alert_id) + " of " + alert.szServer + " is there twice\n";
    }
  }
  return "";
}

using AlertsByNumber = std::map<uint32_t, std::string>;

// Each server writes its own time of writing.
AlertsByNumber by_number(const std::vector<ALERT_RECORD_INFO>& alerts) {
  AlertsByNumber texts;
  for (ALERT_RECORD_INFO alert : alerts) {
    alt_test::set_text(alert.szWriteTime, "");
    texts.emplace(number_of(alert.szAlertMessage), alt_test::describe(alert));
  }
  return texts;
}

std::string first_difference(const AlertsByNumber& one, const AlertsByNumber& other) {
  for (const auto& [number, text] : one) {
    const auto at = other.find(number);
    if (at != other.end() && at->second != text) return text + "\nbut " + at->second + "\n";
  }
  return "";
}

// Indexes are built by a program of that server.
std::string fault_in_indexes(const Server& server) {
  return alt_test::text_of_process([&] {
    server.enter();
    return index_difference(server.root());
  });
}

}  // namespace

int64_t monotonic_ns() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kSecond_ns + now.tv_nsec;
}

int64_t raised_ns(const std::string& message) {
  const size_t at = message.find(kRaised);
  if (at == std::string::npos) throw std::runtime_error("not raised here: " + message);
  return std::stoll(message.substr(at + sizeof kRaised - 1));
}

uint32_t first_number(const Raising& raising, int i) {
  return static_cast<uint32_t>(i) * kNumbersOfServer + raising.base + 1;
}

std::unique_ptr<alt_test::Child> raising_program(const Cluster& cluster, int i,
                                                 const Raising& raising) {
  return std::make_unique<alt_test::Child>([&, i] {
    cluster.server(i).enter();
    return raise_all(cluster.server(i), first_number(raising, i), raising);
  });
}

std::vector<std::unique_ptr<alt_test::Child>> raising_programs(const Cluster& cluster,
                                                               const Raising& raising) {
  std::vector<std::unique_ptr<alt_test::Child>> programs;
  for (int i = 0; i < cluster.size(); ++i) {
    programs.push_back(raising_program(cluster, i, raising));
  }
  return programs;
}

bool raise_on(const Cluster& cluster, int i, const Raising& raising) {
  return raising_program(cluster, i, raising)->wait() == 0;
}

bool raise_on_all(const Cluster& cluster, const Raising& raising) {
  const auto programs = raising_programs(cluster, raising);
  bool accepted = true;
  for (const auto& program : programs) accepted = program->wait() == 0 && accepted;
  return accepted;
}

std::vector<uint32_t> numbers_raised(const std::vector<int>& servers, const Raising& raising) {
  std::vector<uint32_t> numbers;
  for (const int i : servers) {
    const uint32_t first = first_number(raising, i);
    numbers = joined(numbers, counting(first, first + raising.each - 1));
  }
  return numbers;
}

std::vector<uint32_t> joined(std::vector<uint32_t> some, const std::vector<uint32_t>& more) {
  some.insert(some.end(), more.begin(), more.end());
  return sorted(some);
}

size_t alerts_held(const Server& server) {
  const UniqueFd log(open(server.store("alertlog.alt").c_str(), O_RDONLY | O_CLOEXEC));
  std::array<char, 256> head = {};
  const ssize_t size = log ? pread(log.get(), head.data(), head.size(), 0) : 0;
  if (size <= 0) return 0;
  return static_cast<size_t>(
      alt_test::header_number(std::string(head.data(), static_cast<size_t>(size)), 1));
}

bool all_come_to_hold(const Cluster& cluster, const std::vector<int>& servers, size_t count,
                      std::chrono::seconds patience) {
  return eventually(
      [&] {
        return std::all_of(servers.begin(), servers.end(),
                           [&](int i) { return alerts_held(cluster.server(i)) == count; });
      },
      patience);
}

std::string fault_in_logs(const Cluster& cluster, const std::vector<int>& servers,
                          const std::vector<uint32_t>& numbers) {
  std::string faults;
  AlertsByNumber first;
  for (const int i : servers) {
    const Server& server = cluster.server(i);
    const auto alerts = read_log(server.store("alertlog.alt"));
    const AlertsByNumber texts = by_number(alerts);
    if (first.empty()) first = texts;
    const std::string fault = fault_in_numbers(sorted(numbers_of(alerts)), numbers) +
                              fault_in_ids(alerts) + first_difference(first, texts) +
                              fault_in_indexes(server);
    if (!fault.empty()) faults += "on " + server.host() + ": " + fault;
  }
  return faults;
}

}  // namespace qel::system_test

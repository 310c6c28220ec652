#include "process_figures.h"

#include <time.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace qel::system_test {

std::chrono::microseconds processor_time(pid_t pid) {
  clockid_t clock;
  timespec used;
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
    throw std::runtime_error("no process " + std::to_string(pid));
  }
  return std::chrono::seconds(used.tv_sec) + std::chrono::microseconds(used.tv_nsec / 1000);
}

long resident_kb(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  for (std::string word; file >> word;) {
    long size_kb = 0;
    if (word == "VmRSS:" && file >> size_kb) return size_kb;
  }
  throw std::runtime_error("no memory of process " + std::to_string(pid));
}

size_t open_descriptors(pid_t pid) {
  size_t count = 0;
  const auto directory = "/proc/" + std::to_string(pid) + "/fd";
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory)) ++count;
  return count;
}

}  // namespace qel::system_test

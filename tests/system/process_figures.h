// What a process has used so far.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace qel::system_test {

std::chrono::microseconds processor_time(pid_t pid);
long resident_kb(pid_t pid);
size_t open_descriptors(pid_t pid);

}  // namespace qel::system_test

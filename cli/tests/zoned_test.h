// Tests in a time zone of their own.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>

#include "alerts/time_text.h"

namespace qel::cli::testing {

// 2024/03/01 12:30:45.678 UTC
constexpr Clock::time_point kNow{std::chrono::milliseconds{1709296245678}};

class ZonedTest : public ::testing::Test {
 protected:
  ZonedTest() { use_zone("UTC"); }
  ~ZonedTest() override {
    unsetenv("TZ");
    tzset();
  }
  static void use_zone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
};

}  // namespace qel::cli::testing

// What the sanitizers change for a test.
#pragma once

namespace alt_test {

// Whether the programs carry AddressSanitizer: their memory is not theirs, and all takes longer.
constexpr bool is_sanitized() {
#ifdef __SANITIZE_ADDRESS__
  return true;
#else
  return false;
#endif
}

}  // namespace alt_test

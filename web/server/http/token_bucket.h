// How often something may happen.
#pragma once

#include <algorithm>
#include <chrono>

namespace qel::web {

using Instant = std::chrono::steady_clock::time_point;

struct Rate {
  double per_second;
  double burst;  // how many at once after a pause; at least 1
};

// Holds a token for each time that is left; they come back at the rate, up to the burst.
class TokenBucket {
 public:
  explicit TokenBucket(Rate rate) : rate_(rate), tokens_(rate.burst) {}

  // False when it has happened too often.
  bool take(Instant now) {
    const double seconds = std::chrono::duration<double>(now - filled_).count();
    tokens_ = std::min(rate_.burst, tokens_ + seconds * rate_.per_second);
    filled_ = now;
    if (tokens_ < 1) return false;
    tokens_ -= 1;
    return true;
  }

 private:
  Rate rate_;
  double tokens_;
  Instant filled_{};
};

}  // namespace qel::web

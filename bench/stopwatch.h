// SPDX-License-Identifier: Apache-2.0
// Wall time since it was made.

#ifndef RYX_BENCH_STOPWATCH_H
#define RYX_BENCH_STOPWATCH_H

#include <chrono>

namespace ryx::bench {

class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

}  // namespace ryx::bench

#endif

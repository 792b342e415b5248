// Measures how long a peer has accepted no data. Counts only the time spent waiting for it.

#ifndef PLATFORM_STALL_TIMER_H_
#define PLATFORM_STALL_TIMER_H_

#include <algorithm>
#include <chrono>

namespace platform {

class StallTimer {
 public:
  explicit StallTimer(std::chrono::nanoseconds timeout) : timeout_(timeout), left_(timeout) {}

  // Restores the full timeout. Call after progress.
  void Restart() { left_ = timeout_; }

  // Subtracts a wait.
  void Charge(std::chrono::nanoseconds waited) { left_ -= std::min(waited, left_); }

  // Returns the time left until the timeout; 0 if it has passed.
  std::chrono::nanoseconds TimeLeft() const { return left_; }

 private:
  std::chrono::nanoseconds timeout_;
  std::chrono::nanoseconds left_;
};

}  // namespace platform

#endif  // PLATFORM_STALL_TIMER_H_

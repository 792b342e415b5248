// Measures how long a peer that should accept data makes no progress. Counts only waits, not the time between them.

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

  // Returns how long the peer may still make no progress; 0 if the timeout has passed.
  std::chrono::nanoseconds TimeLeft() const { return left_; }

 private:
  std::chrono::nanoseconds timeout_;
  std::chrono::nanoseconds left_;
};

}  // namespace platform

#endif  // PLATFORM_STALL_TIMER_H_

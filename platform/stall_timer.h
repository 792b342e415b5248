// Measures how long a peer has accepted no data. Counts only the time spent waiting for it.

#pragma once

#include <algorithm>
#include <chrono>

namespace platform {

class StallTimer {
 public:
  explicit StallTimer(std::chrono::nanoseconds timeout) : timeout_(timeout), left_(timeout) {}

  // Restores the full timeout, unless MakeTotal was called. Call after progress.
  void Restart() {
    if (!is_total_) left_ = timeout_;
  }

  // Restores the full timeout for the last time: from now on, it limits the total of all waits.
  void MakeTotal() {
    Restart();
    is_total_ = true;
  }

  // Subtracts a wait.
  void Charge(std::chrono::nanoseconds waited) { left_ -= std::min(waited, left_); }

  // Returns the time left until the timeout; 0 if it has passed.
  std::chrono::nanoseconds TimeLeft() const { return left_; }

 private:
  std::chrono::nanoseconds timeout_;
  std::chrono::nanoseconds left_;
  bool is_total_ = false;
};

}  // namespace platform

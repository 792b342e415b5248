// Waits for a condition, with a time limit, while the event pump runs.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

// A time limit counted in short waits instead of clock time, so that a slow or suspended machine does not use it up.
class WaitBudget {
 public:
  // Renew restarts the timeout, but the total never exceeds `max_timeouts` times as long.
  explicit WaitBudget(std::chrono::milliseconds timeout, int max_timeouts = 1);

  // Runs the pump for one short wait; returns false when the limit is used up.
  [[nodiscard]] bool Wait();

  void Renew() { left_ = timeout_; }

 private:
  std::int64_t timeout_;  // all in short waits
  std::int64_t left_;
  std::int64_t total_left_;
};

// Runs the pump until the condition holds or the limit is used up; returns whether it holds.
[[nodiscard]] bool WaitFor(const std::function<bool()>& condition,
                           std::chrono::milliseconds limit = std::chrono::seconds(30));

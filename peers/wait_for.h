// Waits for a condition, with a time limit, while the event pump runs.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

// A time limit counted in short waits instead of clock time, so that a slow or suspended machine does not use it up.
class WaitBudget {
 public:
  // The limit is `each`; Renew restarts it, but the total never exceeds `most` times `each`.
  explicit WaitBudget(std::chrono::milliseconds each, int most = 1);

  // Runs the pump for one short wait; returns false when the limit is used up.
  [[nodiscard]] bool Wait();

  void Renew() { left_ = each_; }

 private:
  std::int64_t each_;
  std::int64_t left_;
  std::int64_t most_;
};

// Runs the pump until the condition holds or the limit is used up; returns whether it holds.
[[nodiscard]] bool WaitFor(const std::function<bool()>& condition,
                           std::chrono::milliseconds limit = std::chrono::seconds(30));

// Waiting for an event with a limit, while the event pump runs.

#ifndef PEERS_WAITING_H_
#define PEERS_WAITING_H_

#include <chrono>
#include <cstdint>
#include <functional>

// How long something is waited for. Only the waiting uses it up, a slice at a time: a machine that stood still or is
// slow takes none of it from what is waited for.
class Patience {
 public:
  // However often it is renewed, it ends after `most` times its length.
  explicit Patience(std::chrono::milliseconds each, int most = 1);

  // Runs the pump for a slice; false once none is left.
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

#endif  // PEERS_WAITING_H_

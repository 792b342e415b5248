// Waits for a condition, with a limit, while the event pump runs.

#ifndef PEERS_WAITING_H_
#define PEERS_WAITING_H_

#include <chrono>
#include <cstdint>
#include <functional>

// A time limit that is counted in short waits rather than on the clock: a machine that is slow or was suspended does
// not use it up.
class Patience {
 public:
  // Ends after `most` times its length, however often it is renewed.
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

#include "peers/wait_for.h"

#include "platform/event_pump.h"

static constexpr std::chrono::milliseconds kSlice{2};

WaitBudget::WaitBudget(std::chrono::milliseconds timeout, int max_timeouts)
    : timeout_(timeout / kSlice), left_(timeout_), total_left_(timeout_ * max_timeouts) {}

bool WaitBudget::Wait() {
  if (left_ == 0 || total_left_ == 0) return false;
  --left_;
  --total_left_;
  platform::EventPump::Instance().Run(kSlice);
  return true;
}

bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  WaitBudget budget(limit);
  while (!condition()) {
    if (!budget.Wait()) return false;
  }
  return true;
}

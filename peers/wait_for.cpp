#include "peers/wait_for.h"

#include "platform/event_pump.h"

static constexpr std::chrono::milliseconds kSlice{2};

WaitBudget::WaitBudget(std::chrono::milliseconds each, int most)
    : each_(each / kSlice), left_(each_), most_(each_ * most) {}

bool WaitBudget::Wait() {
  if (left_ == 0 || most_ == 0) return false;
  --left_;
  --most_;
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

#include "peers/waiting.h"

#include "platform/event_pump.h"
#include "platform/ticks.h"

bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  constexpr std::int32_t kSliceMilliseconds = 2;
  const auto deadline = platform::MonotonicNow() + limit;
  while (!condition()) {
    if (platform::MonotonicNow() >= deadline) return false;
    platform::EventPump::Instance().Run(kSliceMilliseconds);
  }
  return true;
}

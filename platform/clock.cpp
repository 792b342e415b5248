#include "platform/clock.h"

#include <time.h>

#include <ratio>

namespace platform {

std::chrono::nanoseconds MonotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::int64_t Ticks() {
  using Tick = std::chrono::duration<std::int64_t, std::ratio<1, kTicksPerSecond>>;
  return std::chrono::duration_cast<Tick>(MonotonicNow()).count();
}

}  // namespace platform

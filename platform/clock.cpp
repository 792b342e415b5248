#include "platform/clock.h"

#include <time.h>

namespace platform {

std::chrono::nanoseconds MonotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::timespec ToTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {static_cast<std::time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

std::int64_t Ticks() {
  constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
  const std::int64_t now = MonotonicNow().count();
  return now / kNanosecondsPerSecond * kTicksPerSecond +
         now % kNanosecondsPerSecond * kTicksPerSecond / kNanosecondsPerSecond;
}

}  // namespace platform

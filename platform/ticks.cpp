#include "platform/ticks.h"

#include <time.h>
#include <unistd.h>

#include <random>

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

std::int32_t RandomInRange(std::int32_t lowest, std::int32_t highest) {
  // Clock and process number rather than the system's random device, which can fail when descriptors are short.
  static std::mt19937 generator = [] {
    const auto now = static_cast<std::uint64_t>(MonotonicNow().count());
    std::seed_seq seed{static_cast<std::uint32_t>(now), static_cast<std::uint32_t>(now >> 32),
                       static_cast<std::uint32_t>(getpid())};
    return std::mt19937(seed);
  }();
  return std::uniform_int_distribution<std::int32_t>(lowest, highest)(generator);
}

}  // namespace platform

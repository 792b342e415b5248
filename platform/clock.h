// Monotonic clock and 60 Hz tick counter.

#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

inline constexpr std::int64_t kTicksPerSecond = 60;

// Returns the monotonic time, which all waits and timeouts use.
std::chrono::nanoseconds MonotonicNow();

// Returns the time in sixtieths of a second since an arbitrary moment before the process started. Use only differences.
std::int64_t Ticks();

}  // namespace platform

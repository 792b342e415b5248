// Monotonic clock and 60 Hz tick counter.

#ifndef PLATFORM_CLOCK_H_
#define PLATFORM_CLOCK_H_

#include <chrono>
#include <cstdint>
#include <ctime>

namespace platform {

inline constexpr std::int64_t kTicksPerSecond = 60;

// Returns the monotonic time, which all waits and timeouts use.
std::chrono::nanoseconds MonotonicNow();

// Converts a duration for system calls.
std::timespec ToTimespec(std::chrono::nanoseconds time);

// Returns the time in sixtieths of a second since an arbitrary moment before the process started. Use only differences.
std::int64_t Ticks();

}  // namespace platform

#endif  // PLATFORM_CLOCK_H_

// Monotonic clock and 60 Hz tick counter.

#ifndef PLATFORM_CLOCK_H_
#define PLATFORM_CLOCK_H_

#include <chrono>
#include <cstdint>
#include <ctime>

namespace platform {

inline constexpr std::int64_t kTicksPerSecond = 60;

// The monotonic clock, which every wait and time-out of the platform uses.
std::chrono::nanoseconds MonotonicNow();

// A span of time as system calls take it.
std::timespec ToTimespec(std::chrono::nanoseconds time);

// The tick counter: whole sixtieths of a second since some moment before the process. Only differences mean something.
std::int64_t Ticks();

}  // namespace platform

#endif  // PLATFORM_CLOCK_H_

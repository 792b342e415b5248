// Time that only goes forward, and chance. Neither is disturbed by a change of the wall clock.

#ifndef PLATFORM_TICKS_H_
#define PLATFORM_TICKS_H_

#include <chrono>
#include <cstdint>
#include <ctime>

namespace platform {

inline constexpr std::int64_t kTicksPerSecond = 60;

// Now on the monotonic clock that every wait and time-out of the platform uses.
std::chrono::nanoseconds MonotonicNow();

// A span of time as system calls take it.
std::timespec ToTimespec(std::chrono::nanoseconds time);

// The tick counter: whole sixtieths of a second since the machine started. Only differences mean something.
std::int64_t Ticks();

// A whole number drawn uniformly from `lowest` to `highest`, both included. Processes started in the same
// moment draw differently.
std::int32_t RandomInRange(std::int32_t lowest, std::int32_t highest);

}  // namespace platform

#endif  // PLATFORM_TICKS_H_

// Interposes the test program's system calls and allocations, so that a test can count them, replace their results or
// make them fail, and can replace the clock.

#pragma once

#include <poll.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

class VirtualClock;

enum Call { kClose, kConnect, kIoctl, kSleep, kOpen, kPoll, kRead, kSocket, kDrain, kFlush, kGetTty, kSetTty, kWrite };

struct SystemCalls {
  // Returns the result of a call, or nothing to make the system call. `number` is a descriptor or, for poll and
  // nanosleep, the time in milliseconds; `value` is a size or a request.
  using Hook = std::function<std::optional<long>(long number, unsigned long value, void* argument)>;
  std::array<Hook, kWrite + 1> hooks;

  // Called first for every call; returns the errno value to fail with, or 0.
  std::function<int(Call)> error;

  std::array<int, kWrite + 1> counts{};  // number of calls so far

  VirtualClock* clock = nullptr;                  // replaces the monotonic clock
  std::chrono::nanoseconds time_passed{};         // added to the monotonic clock
  std::optional<std::chrono::nanoseconds> alarm;  // the time of the current alarm, if one is set
};

SystemCalls& Calls();

// Advances the clock by `time`, as if a call had taken that long; returns its result.
inline long After(std::chrono::nanoseconds time, long result) {
  Calls().time_passed += time;
  return result;
}
// Sets errno and returns -1, like a failed call.
inline long Failure(int error) {
  errno = error;
  return -1;
}

// Makes one call fail; if `lasts` is set, also every later one.
struct FailureInjector {
  std::atomic<long> countdown = 0;  // 1 plus the number of calls up to the one that fails; 0 if none fails
  bool lasts = false;

  // Counts a call; returns whether it fails.
  bool ShouldFail() {
    if (countdown > 1) return --countdown == 1;
    return countdown == 1 && lasts;
  }
  bool HasFailed() const { return countdown == 1; }
};

extern FailureInjector allocation_failure;

// The number of bytes allocated now.
extern std::atomic<std::size_t> allocated_bytes;

// A virtual clock for one test. While it exists, time passes only in polls, in sleeps and by Pass, without waiting.
// Readiness still comes from the system, so real sockets and terminals work as usual.
class VirtualClock {
 public:
  VirtualClock() { Calls().clock = this; }
  ~VirtualClock() { Calls() = {}; }

  std::vector<std::chrono::milliseconds> sleeps;  // the limits of the polls that timed out, so that time passed

  // Called when nothing is ready. While it returns false, time does not pass; it may itself make something ready.
  std::function<bool()> may_pass;

  void Pass(std::chrono::nanoseconds time) { Calls().time_passed += time; }

  // Called in place of poll; the limit is in milliseconds.
  int OnWait(pollfd* polled, nfds_t count, int limit);
};

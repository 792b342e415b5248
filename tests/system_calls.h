// Stands before system calls and allocations of the test program, so that a test can count them, answer them in the
// system's place, or have them fail.

#ifndef TESTS_SYSTEM_CALLS_H_
#define TESTS_SYSTEM_CALLS_H_

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

class VirtualClock;

enum Call {
  kClose,
  kConnect,
  kIoctl,
  kNanosleep,
  kOpen,
  kPoll,
  kPpoll,
  kRead,
  kSocket,
  kTcdrain,
  kTcflush,
  kTcgetattr,
  kTcsetattr,
  kWrite,
  kCalls
};

struct SystemCalls {
  // The result of a call, or nothing to let it through to the system. `number` is a descriptor, of poll and nanosleep
  // the time in milliseconds; `value` a size or a request.
  using Hook = std::function<std::optional<long>(long number, unsigned long value, void* argument)>;
  std::array<Hook, kCalls> hooks;

  // Asked by every call first: the errno value that it fails with, or 0.
  std::function<int(Call)> error;

  std::array<int, kCalls> counts{};  // calls so far

  VirtualClock* clock = nullptr;                  // stands in for the monotonic one
  std::chrono::nanoseconds time_passed{};         // added to what the monotonic clock shows
  std::optional<std::chrono::nanoseconds> alarm;  // what the alarm was last set to, while there is one
};

SystemCalls& Calls();

// The result of a call that takes this time.
inline long After(std::chrono::nanoseconds time, long result) {
  Calls().time_passed += time;
  return result;
}
// The result of a call that fails with this errno value.
inline long Failure(int error) {
  errno = error;
  return -1;
}

// Strikes when its turn comes, and if it lasts each time after that.
struct Fault {
  std::atomic<long> turns_left = 0;  // one more than there are until it strikes; 0 while it never does
  bool lasts = false;

  bool Strikes() {
    if (turns_left > 1) return --turns_left == 1;
    return turns_left == 1 && lasts;
  }
  bool HasStruck() const { return turns_left == 1; }
};

extern Fault allocation_fault;
extern std::atomic<std::size_t> largest_allocation;

#endif  // TESTS_SYSTEM_CALLS_H_

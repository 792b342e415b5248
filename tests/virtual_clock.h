// A virtual clock for one test: while it exists, time passes only during a poll, and passes at once.
//
// Readiness still comes from the system, so real sockets and terminals work as usual. Every poll is recorded.

#ifndef TESTS_VIRTUAL_CLOCK_H_
#define TESTS_VIRTUAL_CLOCK_H_

#include <poll.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tests/system_calls.h"

class VirtualClock {
 public:
  struct Wait {
    std::chrono::nanoseconds start;
    std::chrono::nanoseconds limit;
  };

  VirtualClock() { Calls().clock = this; }
  ~VirtualClock() { Calls() = {}; }

  std::vector<Wait> waits;
  std::vector<Wait> sleeps;  // the waits in which nothing became ready, so that time passed

  // Called before each wait. A positive result is the errno value with which the wait fails.
  std::function<int(const Wait& wait)> before_wait;

  // Called when nothing is ready. While it returns false, time does not pass; it may itself make something ready.
  std::function<bool()> may_pass;

  void Pass(std::chrono::nanoseconds time) { Calls().time_passed += time; }

  // Called in place of poll; the limit is in milliseconds.
  int OnWait(pollfd* polled, nfds_t count, int limit);

  // Returns the pump's runs so far, each of which ends with a sleep. Consecutive equal runs are combined: "100 x 10
  // ms".
  std::vector<std::string> Runs() const;
};

// Calls the system's poll.
int SystemPoll(pollfd* polled, nfds_t count, int limit);

#endif  // TESTS_VIRTUAL_CLOCK_H_

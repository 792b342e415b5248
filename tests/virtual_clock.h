// A virtual clock for one test. While it exists, time passes only in polls, in sleeps and by Pass, without waiting.
//
// Readiness still comes from the system, so real sockets and terminals work as usual.

#ifndef TESTS_VIRTUAL_CLOCK_H_
#define TESTS_VIRTUAL_CLOCK_H_

#include <poll.h>

#include <chrono>
#include <functional>
#include <vector>

#include "tests/system_calls.h"

class VirtualClock {
 public:
  VirtualClock() { Calls().clock = this; }
  ~VirtualClock() { Calls() = {}; }

  std::vector<std::chrono::milliseconds> sleeps;  // the limits of the polls that timed out, so that time passed

  // Called before each poll. A positive result is the errno value with which the poll fails.
  std::function<int(std::chrono::milliseconds limit)> before_wait;

  // Called when nothing is ready. While it returns false, time does not pass; it may itself make something ready.
  std::function<bool()> may_pass;

  void Pass(std::chrono::nanoseconds time) { Calls().time_passed += time; }

  // Called in place of poll; the limit is in milliseconds.
  int OnWait(pollfd* polled, nfds_t count, int limit);
};

// Calls the system's poll.
int SystemPoll(pollfd* polled, nfds_t count, int limit);

#endif  // TESTS_VIRTUAL_CLOCK_H_

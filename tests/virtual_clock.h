// A clock for one test: while it lives, time passes only where the event pump waits, and passes at once.
//
// What is ready is still asked of the system, so real sockets and terminals work as ever. Every wait is recorded.

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

  // Called before each wait. A positive result is an errno value that the wait fails with.
  std::function<int(const Wait& wait)> before_wait;

  // Called when nothing is ready. False: time stands still until something is, or until this returns true. What it
  // does may itself make something ready.
  std::function<bool()> may_pass;

  void Pass(std::chrono::nanoseconds time) { Calls().time_passed += time; }

  // What ppoll does meanwhile.
  int OnWait(pollfd* polled, nfds_t count, std::chrono::nanoseconds limit);

  // The pump's runs so far, and the polls after each: "10 ms, poll". Equal ones in a row are one: "100 x 10 ms".
  std::vector<std::string> Runs() const;
};

// The system's ppoll.
int SystemPpoll(pollfd* polled, nfds_t count, std::chrono::nanoseconds limit);

#endif  // TESTS_VIRTUAL_CLOCK_H_

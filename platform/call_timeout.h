// Limits the time of blocking system calls: while an object of this class exists, a call that a signal can interrupt
// fails with EINTR once the timeout has passed, and so does every later one. The shortest timeout is 20 ms.

#pragma once

#include <chrono>

namespace platform {

class CallTimeout {
 public:
  // Main thread only, one object at a time, after PrepareProcess.
  explicit CallTimeout(std::chrono::nanoseconds timeout);
  ~CallTimeout();
  CallTimeout(const CallTimeout&) = delete;
  CallTimeout& operator=(const CallTimeout&) = delete;
};

}  // namespace platform

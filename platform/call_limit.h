// Limits the time of blocking system calls: while an object of this class exists, a call that a signal can interrupt
// fails with EINTR once the limit has passed, and so does every later one.

#ifndef PLATFORM_CALL_LIMIT_H_
#define PLATFORM_CALL_LIMIT_H_

#include <chrono>

namespace platform {

class CallLimit {
 public:
  // Main thread only, one object at a time, after PrepareProcess.
  explicit CallLimit(std::chrono::nanoseconds limit);
  ~CallLimit();
  CallLimit(const CallLimit&) = delete;
  CallLimit& operator=(const CallLimit&) = delete;
};

}  // namespace platform

#endif  // PLATFORM_CALL_LIMIT_H_

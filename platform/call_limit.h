// Ends system calls that would block too long: while an object of this class lives, a call that a signal can end
// returns with EINTR once the limit is over, as does every one that follows.

#ifndef PLATFORM_CALL_LIMIT_H_
#define PLATFORM_CALL_LIMIT_H_

#include <chrono>

namespace platform {

class CallLimit {
 public:
  // Main thread only, one at a time, after PrepareProcess.
  explicit CallLimit(std::chrono::nanoseconds limit);
  ~CallLimit();
  CallLimit(const CallLimit&) = delete;
  CallLimit& operator=(const CallLimit&) = delete;
};

}  // namespace platform

#endif  // PLATFORM_CALL_LIMIT_H_

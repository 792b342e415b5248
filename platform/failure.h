// An uncaught failure, as passed to the application's handler.

#ifndef PLATFORM_FAILURE_H_
#define PLATFORM_FAILURE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// The addresses of a call stack, innermost first. The outermost are dropped if they do not fit.
struct StackAddresses {
  std::array<std::uintptr_t, 256> addresses{};
  std::size_t count = 0;
};

// Returns the caller's stack. Does not allocate.
StackAddresses CurrentStack();

class Failure {
 public:
  explicit Failure(const StackAddresses& stack) : stack_(stack) {}
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  virtual ~Failure() = default;

  // Returns the function names on the stack where the failure was thrown, innermost first, without the runtime's
  // frames. Throws if they cannot be determined, for example for lack of memory.
  virtual std::vector<std::string> Stack() const;

 private:
  StackAddresses stack_;
};

}  // namespace platform

#endif  // PLATFORM_FAILURE_H_

// An uncaught failure, as the application's handler is given it.

#ifndef PLATFORM_FAILURE_H_
#define PLATFORM_FAILURE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// The addresses of a call stack, innermost first; as many as fit.
struct StackAddresses {
  std::array<std::uintptr_t, 256> addresses{};
  std::size_t count = 0;
};

// The caller's stack. Allocates nothing.
StackAddresses CurrentStack();

class Failure {
 public:
  explicit Failure(const StackAddresses& stack) : stack_(stack) {}
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  virtual ~Failure() = default;

  // The function names of the stack where the failure was thrown, innermost first, without the runtime's own frames.
  // Throws when it cannot be read, as with no memory left.
  virtual std::vector<std::string> Stack() const;

 private:
  StackAddresses stack_;
};

}  // namespace platform

#endif  // PLATFORM_FAILURE_H_

// A failure that nothing caught, as the application's handler is given it.

#ifndef PLATFORM_FAILURE_H_
#define PLATFORM_FAILURE_H_

#include <string>
#include <utility>
#include <vector>

namespace platform {

class Failure {
 public:
  explicit Failure(std::vector<std::string> stack) : stack_(std::move(stack)) {}
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  virtual ~Failure() = default;

  // The functions that were active where the failure was thrown, innermost first. May throw when it cannot be read.
  virtual std::vector<std::string> Stack() const { return stack_; }

 private:
  std::vector<std::string> stack_;
};

// The stack of the caller, as Failure::Stack lists it, without the machinery of throwing.
std::vector<std::string> CurrentStack();

}  // namespace platform

#endif  // PLATFORM_FAILURE_H_

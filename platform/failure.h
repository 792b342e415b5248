// An uncaught failure, as passed to the application's handler.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

class Failure {
 public:
  // Keeps the caller's stack. Does not allocate.
  Failure();
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;

  // Returns the function names on the stack where the failure was thrown, innermost first, without the runtime's
  // frames. Throws if they cannot be determined, for example for lack of memory.
  std::vector<std::string> Stack() const;

 private:
  // Addresses, innermost first. The outermost are dropped if they do not fit.
  std::array<std::uintptr_t, 256> addresses_{};
  std::size_t count_ = 0;
};

}  // namespace platform

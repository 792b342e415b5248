#include "platform/output_queue.h"

#include <unistd.h>

#include <cerrno>

namespace platform {

void OutputQueue::Clear() {
  // Keep the memory for the next bytes, unless it is large.
  constexpr std::size_t kKeptCapacity = std::size_t{64} * 1024;
  bytes_.clear();
  if (bytes_.capacity() > kKeptCapacity) bytes_.shrink_to_fit();
  sent_ = 0;
}

std::int32_t OutputQueue::SendTo(int descriptor) {
  if (Empty()) return 0;
  ssize_t count = 0;
  do {
    count = write(descriptor, bytes_.data() + sent_, Size());
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    if (errno == EAGAIN) return 0;
    const std::int32_t error = errno;
    Clear();
    return error;
  }
  sent_ += static_cast<std::size_t>(count);
  if (Size() == 0) {
    Clear();
  } else if (sent_ > Size()) {
    bytes_.erase(0, sent_);
    sent_ = 0;
  }
  return 0;
}

}  // namespace platform

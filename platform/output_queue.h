// Bytes waiting to be written to a non-blocking descriptor. Short writes are normal.

#ifndef PLATFORM_OUTPUT_QUEUE_H_
#define PLATFORM_OUTPUT_QUEUE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

class OutputQueue {
 public:
  bool Empty() const { return bytes_.empty(); }
  // Returns the number of unsent bytes.
  std::size_t Size() const { return bytes_.size() - sent_; }

  void Append(std::string_view bytes) { bytes_ += bytes; }
  void Clear();

  // Makes one attempt to send the queued bytes. Returns 0, or the errno value of a failure, which clears the queue. A
  // full descriptor (EAGAIN) is not a failure.
  [[nodiscard]] std::int32_t SendTo(int descriptor);

 private:
  std::string bytes_;  // those from sent_ on are unsent
  std::size_t sent_ = 0;
};

}  // namespace platform

#endif  // PLATFORM_OUTPUT_QUEUE_H_

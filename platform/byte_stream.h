// The half that a socket and a serial port share: an open descriptor that brings bytes until it fails.
//
// A data event is raised with what one bounded receive brought, and never while the same stream's data handler still
// runs. Bytes that came before the end are delivered before the error event, which is raised once. A stream that failed
// leaves the pump's wait set.

#ifndef PLATFORM_BYTE_STREAM_H_
#define PLATFORM_BYTE_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/descriptor.h"
#include "platform/event_pump.h"
#include "platform/output_queue.h"

namespace platform {

class ByteStream : public EventSource {
 public:
  // The most bytes that one data event brings, unless a stream asks for fewer.
  static constexpr std::size_t kReceiveSize = std::size_t{64} * 1024;

  // Sends what is queued and raises the events that are pending, without waiting. Inside the stream's own
  // data handler it only sends.
  void Poll();

  // Takes every byte received so far. Outside a data event it also takes what waits in the kernel at that moment.
  std::string ReadAll();

  // The errno value of the last failure, ECONNRESET for an end of stream; 0 if there was none.
  std::int32_t LastErrorCode() const { return last_error_; }

 protected:
  // `receive_size` bytes, at most kReceiveSize, are what one data event brings.
  explicit ByteStream(std::size_t receive_size = kReceiveSize) : receive_size_(receive_size) {}

  // Raised from a poll or a pump pass only. Bytes that the data handler does not read are dropped.
  virtual void Event_DataAvailable() = 0;
  virtual void Event_Error() = 0;

  bool IsOpen() const { return descriptor_.IsOpen() && !opening_.failed; }
  // Whether bytes can still be sent: open, and no send has failed.
  bool TakesOutput() const { return IsOpen() && opening_.error_after_input == 0; }
  int DescriptorNumber() const { return descriptor_.Number(); }

  // How many bytes wait in the kernel to be read.
  std::size_t InputWaiting() const;

  // Takes what waits in the kernel, at most so many bytes; inside a data event, too.
  std::string ReadWaiting(std::size_t most);

  // Starts to use an open, non-blocking descriptor.
  void Use(Descriptor descriptor);

  // Closes the descriptor and forgets what was received; the last error code stays. Raises no event.
  void CloseStream();

  // Closes the descriptor alone, such as that of a stream that failed.
  void CloseDescriptor() { descriptor_.Reset(); }

  // Fails the stream: `last_error` is kept and the error event is due at the next poll or pass.
  void FailLater(std::int32_t error);

  // Called when the stream has just failed; by default the descriptor stays open, unused, until it is closed.
  virtual void OnFailure() {}

  // Keeps the reason why the descriptor could not be had. Raises no event.
  void SetLastErrorCode(std::int32_t error) { last_error_ = error; }

  // As FailLater, but what has already arrived is delivered first. For a transport whose sending half broke.
  void FailAfterInput(std::int32_t error);

  // What the pump is to wait for in a stream without a queue of output.
  Interest InputInterest() const;

  // Makes one attempt to send the queue, unless it was just refused, and says what to wait for next.
  Interest SendBeforeWait(OutputQueue& output);

  // Called when there may be room again for output that was refused.
  void TryOutputAgain() { opening_.output_refused = false; }

  // Receives once and raises the data event, or the error event that is due. May destroy the stream.
  void HandleInput();

  void HandleReady() override { HandleInput(); }

 private:
  void RaiseData(const char* bytes, std::size_t count);

  // What holds for one opening of the stream, and is forgotten when it is closed.
  struct Opening {
    std::string inbox{};
    std::int32_t error_after_input = 0;
    bool failed = false;
    bool error_due = false;
    bool output_refused = false;  // the kernel had no room, and has not said since that it has
  };

  Descriptor descriptor_;
  std::size_t receive_size_;
  Opening opening_;
  std::int32_t last_error_ = 0;
  bool in_data_event_ = false;
};

}  // namespace platform

#endif  // PLATFORM_BYTE_STREAM_H_

// Common base of TcpClientSocket and SerialPort: receives from a descriptor, sends queued output, and raises data and
// error events.
//
// A data event brings what one bounded receive brought, and is never raised while the same stream's data handler runs.
// Bytes that came before the end are delivered before the error event, which is raised once. A stream that failed has
// no descriptor.

#ifndef PLATFORM_BYTE_STREAM_H_
#define PLATFORM_BYTE_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/descriptor.h"
#include "platform/event_source.h"
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

  bool IsOpen() const { return descriptor_.IsOpen(); }
  // Whether bytes can still be sent: open, and no send has failed.
  bool CanSend() const { return IsOpen() && connection_.error_when_drained == 0; }
  // -1 when nothing is open.
  int DescriptorNumber() const { return descriptor_.Number(); }

  // How many bytes wait in the kernel to be read.
  std::size_t InputWaiting() const;

  // Receives once from the kernel, at most so many bytes; inside a data event, too.
  std::string ReadWaiting(std::size_t most);

  // Queues bytes, which leave with the next poll or pump pass once a descriptor is there.
  void QueueOutput(std::string_view bytes);
  std::size_t OutputQueued() const { return connection_.output.Size(); }

  // Makes one attempt to send what is queued.
  void SendOutput();

  // Has output that was refused tried again with the next poll or pass.
  void RetryOutput() { connection_.output_refused = false; }

  // Starts to use an open, non-blocking descriptor. The stream must be closed.
  void Adopt(Descriptor descriptor);

  // Closes the descriptor and forgets what was received and queued; the last error code stays. Raises no event.
  void CloseStream();

  // Closes the descriptor because of an error, which becomes the last error code. The error event is due with the next
  // poll or pass.
  void Fail(std::int32_t error);

  // As Fail, once what has already arrived is delivered: for a transport that can only not send any more.
  void FailWhenDrained(std::int32_t error);

  // Keeps the reason why no descriptor could be had. Raises no event.
  void SetLastErrorCode(std::int32_t error) { last_error_ = error; }

  Interest PrepareToWait() override;
  void HandleReady() override;

 private:
  std::ptrdiff_t Receive(std::string& to, std::size_t most) const;
  void RaiseData();

  // What is forgotten when the stream is closed.
  struct Connection {
    std::string inbox{};
    OutputQueue output{};
    bool output_refused = false;  // by the kernel, which has not reported room since
    std::int32_t error_when_drained = 0;
    bool error_due = false;
  };

  Descriptor descriptor_;
  std::size_t receive_size_;
  Connection connection_;
  std::int32_t last_error_ = 0;
  bool in_data_event_ = false;
};

}  // namespace platform

#endif  // PLATFORM_BYTE_STREAM_H_

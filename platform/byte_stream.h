// Common base class of TcpClientSocket and SerialPort: receives from a descriptor, sends queued output, and raises data
// and error events.
//
// A data event delivers the bytes of one bounded receive, and is never raised while the same stream's data handler
// runs. Bytes received before the end of the stream are delivered before the error event, which is raised once. The
// descriptor is closed before the error event.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/descriptor.h"
#include "platform/event_source.h"

namespace platform {

class ByteStream : public EventSource {
 public:
  // The default and maximum number of bytes per data event.
  static constexpr std::size_t kReceiveSize = std::size_t{64} * 1024;

  // Sends queued output and raises pending events, without waiting. Within the stream's own data handler, it only
  // sends.
  void Poll();

  // Returns and removes all bytes received so far. Outside a data event, also reads the bytes available in the kernel.
  std::string ReadAll();

  // Returns the errno value of the last failure; ECONNRESET for the end of the stream, 0 if there was no failure.
  std::int32_t LastErrorCode() const { return last_error_; }

 protected:
  // `receive_size` is the maximum number of bytes per data event, at most kReceiveSize.
  explicit ByteStream(std::size_t receive_size = kReceiveSize) : receive_size_(receive_size) {}

  // Called only from a poll or a pump pass. Bytes that the data handler does not read are dropped.
  virtual void Event_DataAvailable() = 0;
  virtual void Event_Error() = 0;

  bool IsOpen() const { return descriptor_.IsOpen(); }
  // Whether the stream is open and no send has failed.
  bool CanSend() const { return IsOpen() && connection_.error == 0; }
  // Returns -1 if the stream is not open.
  int DescriptorNumber() const { return descriptor_.Number(); }

  // Returns the number of bytes available in the kernel.
  std::size_t InputWaiting() const;

  // Queues bytes to send. The next poll or pump pass sends them if the stream is open, otherwise a later one.
  void QueueOutput(std::string_view bytes) { connection_.output += bytes; }
  std::size_t OutputQueued() const { return connection_.output.size(); }

  // Makes one attempt to send the queued output. A partial write is normal.
  void SendOutput();

  // Takes ownership of an open, non-blocking descriptor. The stream must be closed.
  void Adopt(Descriptor descriptor);

  // Closes the descriptor and discards received and queued bytes; keeps the last error code. Raises no event.
  void CloseStream();

  // Closes the descriptor because of an error, which must not be 0 and becomes the last error code. The next poll or
  // pass raises the error event.
  void Fail(std::int32_t error);

  // Like Fail, but after all input has been delivered: for a transport that can no longer send but may still receive.
  void FailWhenDrained(std::int32_t error);

  // Records why opening failed. Raises no event.
  void SetLastErrorCode(std::int32_t error) { last_error_ = error; }

  Interest PrepareToWait() override;
  void HandleReady() override;

 private:
  std::ptrdiff_t Receive(std::string& to, std::size_t most) const;
  void RaiseData();

  // State that is reset when the stream is closed.
  struct Connection {
    std::string inbox{};
    std::string output{};
    std::int32_t error = 0;  // the errno value of a pending error event, which follows any input still to be delivered
  };

  Descriptor descriptor_;
  std::size_t receive_size_;
  Connection connection_;
  std::int32_t last_error_ = 0;
  bool in_data_event_ = false;
};

}  // namespace platform

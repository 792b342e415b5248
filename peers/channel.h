// One end of a link, for the simulator or a test: collects received bytes and queues bytes to send.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/byte_stream.h"

class Channel : public platform::ByteStream {
 public:
  Channel() = default;
  explicit Channel(platform::Descriptor descriptor) { Adopt(std::move(descriptor)); }

  std::string Received;            // bytes received and not yet removed
  bool Ended = false;              // the other side closed the link, or the link failed
  bool Paused = false;             // reads nothing, not even the end of the stream: the sender's buffers fill up
  std::function<void()> OnChange;  // called when Received or Ended has changed

  // Queues bytes, which are sent when the event pump runs; drops them if CanSend returns false.
  void Send(std::string_view bytes);
  // Whether bytes can still be sent, as far as this side knows.
  bool CanSend() const { return ByteStream::CanSend() && !finished_; }

  // Closes a socket with a reset.
  void Reset();
  // Shuts down a socket's sending half; still reads.
  void FinishSending();

  using ByteStream::CloseStream;
  using ByteStream::DescriptorNumber;
  using ByteStream::IsOpen;
  using ByteStream::OutputQueued;

 protected:
  platform::Interest PrepareToWait() override;
  void HandleReady() override;
  void Event_DataAvailable() override;
  void Event_Error() override;

 private:
  bool finished_ = false;
};

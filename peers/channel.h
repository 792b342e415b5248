// One end of a link, held by the simulator or a test: collects what is received and queues what is sent.

#ifndef PEERS_CHANNEL_H_
#define PEERS_CHANNEL_H_

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/byte_stream.h"

class Channel : public platform::ByteStream {
 public:
  Channel() = default;
  explicit Channel(platform::Descriptor descriptor) { Adopt(std::move(descriptor)); }

  std::string Received;            // all that was received and not yet taken
  bool Ended = false;              // the other side closed the link, or it failed
  bool Paused = false;             // receives nothing, not even the end: the bytes stay with the sender
  std::function<void()> OnChange;  // called when one of the first two has changed

  // Queues bytes; they leave when the event pump runs.
  void Send(std::string_view bytes);
  // How many bytes are still queued.
  std::size_t Unsent() const { return OutputQueued(); }

  // Whether what is sent can still arrive, as far as this side knows.
  bool CanSend() const { return ByteStream::CanSend() && !finished_; }

  void Close() { CloseStream(); }
  // Closes a socket with a reset.
  void Reset();
  // Shuts down a socket's sending half; reads on.
  void FinishSending();
  // The descriptor, -1 when closed.
  int Number() const { return DescriptorNumber(); }

 protected:
  platform::Interest PrepareToWait() override;
  void HandleReady() override;
  void Event_DataAvailable() override;
  void Event_Error() override;

 private:
  bool finished_ = false;
};

#endif  // PEERS_CHANNEL_H_

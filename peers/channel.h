// One end of a link that the simulator or a test holds: collects what comes and queues what goes.

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

  std::string Received;            // everything that has come and was not taken
  bool Ended = false;              // the other side closed or failed
  bool Paused = false;             // takes nothing in, not even an end: what comes stays with the sender
  std::function<void()> OnChange;  // called after either of the two changed

  // Queues bytes; they leave when the event pump runs.
  void Send(std::string_view bytes);
  // How many bytes are still queued.
  std::size_t Unsent() const { return OutputQueued(); }

  // Whether what is sent can still arrive, as far as this side knows.
  bool CanSend() const { return ByteStream::CanSend() && !finished_; }

  void Close() { CloseStream(); }
  // Closes a socket so that the other side sees it broken.
  void Reset();
  // Tells the other side of a socket that nothing more will come; reads on.
  void FinishSending();
  // For calls that only the descriptor itself allows; -1 when closed.
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

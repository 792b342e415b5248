// A listening TCP port of this computer.

#ifndef PEERS_LISTENER_H_
#define PEERS_LISTENER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "peers/channel.h"
#include "platform/descriptor.h"
#include "platform/event_pump.h"

class Listener : public platform::EventSource {
 public:
  // Listens at once on a numeric address of this computer, with room for so many connections that were not yet
  // accepted; port 0 takes a free one. Throws std::system_error when it cannot.
  explicit Listener(const std::string& address = "127.0.0.1", int backlog = kUsualBacklog, std::int32_t port = 0);

  std::int32_t Port() const { return port_; }
  // The connection that was accepted last; null before the first.
  Channel* Peer() const { return peer_.get(); }
  // Hands over the last connection, which the next one would otherwise replace.
  std::unique_ptr<Channel> TakePeer() { return std::move(peer_); }
  std::function<void()> OnAccept;  // called with a new Peer in place
  bool Paused = false;             // accepts nobody

 protected:
  platform::Interest PrepareToWait() override { return {.descriptor = listening_.Number(), .read = !Paused}; }
  void HandleReady() override;

 private:
  static constexpr int kUsualBacklog = 16;

  platform::Descriptor listening_;
  std::int32_t port_ = 0;
  std::unique_ptr<Channel> peer_;
};

#endif  // PEERS_LISTENER_H_

// A listening TCP port on this computer.

#pragma once

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
  // Starts to listen on a numeric local address, with a queue of `backlog` connections not yet accepted; port 0 picks a
  // free port. Throws std::system_error on failure.
  explicit Listener(const std::string& address = "127.0.0.1", int backlog = kDefaultBacklog, std::int32_t port = 0);

  std::int32_t Port() const { return port_; }
  // Returns the listening descriptor.
  int Number() const { return listening_.Number(); }
  // Returns the last accepted connection; null before the first.
  Channel* Peer() const { return peer_.get(); }
  // Transfers ownership of the last connection, which the next one would otherwise replace.
  std::unique_ptr<Channel> TakePeer() { return std::move(peer_); }
  std::function<void()> OnAccept;  // called after a new Peer was accepted
  bool Paused = false;             // does not accept connections

 protected:
  platform::Interest PrepareToWait() override { return {.descriptors = {&listening_, 1}, .read = !Paused}; }
  void HandleReady() override;

 private:
  static constexpr int kDefaultBacklog = 16;

  platform::Descriptor listening_;
  std::int32_t port_ = 0;
  std::unique_ptr<Channel> peer_;
};

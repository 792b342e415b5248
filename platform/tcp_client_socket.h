// A TCP connection that this process opens. Derive from it to receive its events.
//
// Connect returns at once; the outcome comes as one event, from a poll or a pump run. A name is resolved off
// the main thread. Every address that it stands for is tried before the error event, the next one after a quarter of
// a second, so that a silent address keeps no other waiting; the first that connects wins. After an error the
// socket drops what is written to it and stays failed until Close or another Connect.

#ifndef PLATFORM_TCP_CLIENT_SOCKET_H_
#define PLATFORM_TCP_CLIENT_SOCKET_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/address_lookup.h"
#include "platform/byte_stream.h"
#include "platform/output_queue.h"

namespace platform {

class TcpClientSocket : public ByteStream {
 public:
  // When a peer has left this many bytes waiting here, the connection is failed with ENOBUFS.
  static constexpr std::size_t kOutputLimit = std::size_t{8} * 1024 * 1024;

  // How long a connection is tried before the next address is, too.
  static constexpr std::chrono::milliseconds kAttemptDelay{250};

  // A host name or numeric address, and a port from 0 to 65535; read by Connect.
  std::string Address;
  std::int32_t Port = 0;

  // Starts to connect, giving up any earlier connection. A connection to itself counts as refused.
  void Connect();

  // Drops the connection and all bytes in both directions. Raises no event.
  void Close();

  // Queues bytes, which leave at the start of the next poll or pump pass, or after the connected event.
  // Dropped when the socket is neither connected nor connecting.
  void Write(std::string_view bytes);

  bool IsConnected() const { return phase_ == Phase::kConnected && IsOpen(); }

 protected:
  // When a silent peer is asked whether it is still there, and after how many answers that did not come it is not.
  struct KeepAlive {
    std::chrono::seconds idle;
    std::chrono::seconds interval;
    int probes;
  };

  // `receive_size` is the stream's; without `keep_alive` the system's own times hold.
  explicit TcpClientSocket(std::size_t receive_size = kReceiveSize, std::optional<KeepAlive> keep_alive = std::nullopt)
      : ByteStream(receive_size), keep_alive_(keep_alive) {}

  // Raised once a connection, before any other event of it.
  virtual void Event_Connected() = 0;

  Interest PrepareToWait() override;
  void HandleReady() override;

 private:
  enum class Phase { kIdle, kResolving, kConnecting, kConnected };

  void StartAttempts(AddressList addresses);
  void StartNextAttempt();
  Descriptor OpenSocket(int family) const;
  bool FinishOneAttempt();
  void AdvanceAttempts();
  void GiveUp(std::int32_t error);

  std::optional<KeepAlive> keep_alive_;
  Phase phase_ = Phase::kIdle;
  std::unique_ptr<AddressLookup> lookup_;
  AddressList untried_;
  std::size_t next_address_ = 0;
  std::vector<Descriptor> attempts_;  // in flight
  std::chrono::nanoseconds next_attempt_due_{};
  OutputQueue output_;
};

}  // namespace platform

#endif  // PLATFORM_TCP_CLIENT_SOCKET_H_

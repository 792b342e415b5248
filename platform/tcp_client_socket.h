// A TCP connection that this process opens. Derive from it to receive its events.
//
// Connect returns at once; the outcome comes as one event, from a poll or a pump run. A name is resolved off
// the main thread, and every address that it stands for is tried in turn before the error event. After an
// error the socket drops what is written to it and stays failed until Close or another Connect.

#ifndef PLATFORM_TCP_CLIENT_SOCKET_H_
#define PLATFORM_TCP_CLIENT_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/address_lookup.h"
#include "platform/byte_stream.h"
#include "platform/output_queue.h"

namespace platform {

class TcpClientSocket : public ByteStream {
 public:
  // When a peer has left this many bytes waiting here, the connection is failed with ENOBUFS.
  static constexpr std::size_t kOutputLimit = std::size_t{8} * 1024 * 1024;

  // A host name or numeric address, and a port from 0 to 65535; read by Connect.
  std::string Address;
  std::int32_t Port = 0;

  // Starts to connect, giving up any earlier connection.
  void Connect();

  // Drops the connection and all bytes in both directions. Raises no event.
  void Close();

  // Queues bytes, which leave at the start of the next poll or pump pass, or after the connected event.
  // Dropped when the socket is neither connected nor connecting.
  void Write(std::string_view bytes);

  bool IsConnected() const { return phase_ == Phase::kConnected && IsOpen(); }

 protected:
  // Raised once a connection, before any other event of it.
  virtual void Event_Connected() = 0;

  Interest PrepareToWait() override;
  void HandleReady() override;

 private:
  enum class Phase { kIdle, kResolving, kConnecting, kConnected };

  void TryNextAddress();
  void FinishConnecting();

  Phase phase_ = Phase::kIdle;
  std::unique_ptr<AddressLookup> lookup_;
  AddressList untried_;
  std::size_t next_address_ = 0;
  OutputQueue output_;
};

}  // namespace platform

#endif  // PLATFORM_TCP_CLIENT_SOCKET_H_

// A TCP connection that this process opens. Derive from it to receive its events.
//
// Connect returns at once; the outcome comes as one event, from a poll or a pump run. After an error the socket drops
// what is written to it until another Connect.

#ifndef PLATFORM_TCP_CLIENT_SOCKET_H_
#define PLATFORM_TCP_CLIENT_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/byte_stream.h"
#include "platform/tcp_connector.h"

namespace platform {

class TcpClientSocket : public ByteStream {
 public:
  // A connection whose peer leaves more than this many bytes unsent fails with ENOBUFS.
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

  bool IsConnected() const { return IsOpen(); }

 protected:
  using KeepAlive = TcpConnector::KeepAlive;

  // `receive_size` is the stream's; without `keep_alive` the system's own times hold.
  explicit TcpClientSocket(std::size_t receive_size = kReceiveSize, std::optional<KeepAlive> keep_alive = std::nullopt)
      : ByteStream(receive_size), keep_alive_(keep_alive) {}

  // Raised once a connection, before any other event of it.
  virtual void Event_Connected() = 0;

  Interest PrepareToWait() override;
  void HandleReady() override;

 private:
  std::optional<KeepAlive> keep_alive_;
  std::unique_ptr<TcpConnector> connector_;  // while connecting
};

}  // namespace platform

#endif  // PLATFORM_TCP_CLIENT_SOCKET_H_

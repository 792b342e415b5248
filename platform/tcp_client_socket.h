// An outgoing TCP connection. Derive from it to receive its events.
//
// Connect returns at once; a poll or a pump run raises the outcome as one event. After an error, writes are dropped
// until the next Connect.

#pragma once

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
  // A connection with more than this many bytes of unsent output fails with ENOBUFS.
  static constexpr std::size_t kOutputLimit = std::size_t{8} * 1024 * 1024;

  // The host name or numeric address, and the port (0 to 65535), for the next Connect.
  std::string Address;
  std::int32_t Port = 0;

  // Starts to connect, after closing any earlier connection.
  void Connect();

  // Closes the connection and discards all bytes in both directions. Raises no event.
  void Close();

  // Queues bytes, which are sent at the start of the next poll or pump pass, or after the connected event. Drops them
  // if the socket is neither connected nor connecting.
  void Write(std::string_view bytes);

  bool IsConnected() const { return IsOpen(); }

 protected:
  using KeepAlive = TcpConnector::KeepAlive;

  // `receive_size` is passed to ByteStream. Without `keep_alive`, the system's default times apply.
  explicit TcpClientSocket(std::size_t receive_size = kReceiveSize, std::optional<KeepAlive> keep_alive = std::nullopt)
      : ByteStream(receive_size), keep_alive_(keep_alive) {}

  // Raised once per connection, before its other events.
  virtual void Event_Connected() = 0;

  Interest PrepareToWait() override;
  void HandleReady() override;

 private:
  std::optional<KeepAlive> keep_alive_;
  std::unique_ptr<TcpConnector> connector_;  // set while connecting
};

}  // namespace platform

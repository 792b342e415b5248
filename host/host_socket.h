// The TCP link to the host: sends the handshake, log entries and packets, and splits the host's stream into messages.
//
// The process has one instance, State().HostSocket. If the link fails, the socket prints a line on the console and sets
// QuitRequested. The message handler may run the event pump, replace or release the socket, and call any of its
// functions but Connect; it receives the next message only after it has returned.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "message/quorvane_command.h"
#include "platform/tcp_client_socket.h"

class cQuorvaneDeviceSocket : public platform::TcpClientSocket {
 public:
  using MessageHandler = std::function<void(const cQuorvaneCommand&)>;

  // The maximum number of bytes per receive. Except after a length of zero, it limits how long one data event delays
  // the next: 4 KiB of raw data take 4.3 seconds on a serial line at 960 bytes per second.
  static constexpr std::size_t kHostReceiveSize = 4096;

  explicit cQuorvaneDeviceSocket(MessageHandler handler);

  std::string ConnectionID;  // sent in the handshake; set it before connecting
  std::string Buffer;        // bytes received and not yet split into packets

 protected:
  void Event_Connected() override;
  void Event_Error() override;
  void Event_DataAvailable() override;

 public:
  // Queues the message's packet. Defaults applied when it is built stay in the message.
  virtual void SendCommand(cQuorvaneCommand& command);

  // Queues a log packet (see BuildLogPacket), which is sent with the next poll of this socket or run of the event pump.
  virtual void SendLog(std::string_view text, std::int32_t level);

 private:
  MessageHandler handler_;
};

// The device port over a TCP connection to a network-attached interface.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/tcp_client_socket.h"
#include "ports/abstract_port.h"

class cIPStreamAbstractor : public platform::TcpClientSocket, public iAbstractPort {
 protected:
  void Event_DataAvailable() override;
  void Event_Error() override;
  void Event_Connected() override;

 public:
  void PortSetParent(std::shared_ptr<iAbstractPortReceiver> receiver) override;

  // Queues the bytes, which are sent with the next poll or pump pass.
  void PortSendData(const std::string& data) override;

  // Connects, and delivers events until the connection is open, for at most about ten seconds. Waits the full time even
  // if the connection was refused.
  bool PortOpen() override;

  // Sends as much of the queued output as the network accepts, then closes.
  void PortClose() override;
  void PortClear() override;

  // Connects to the device with PortOpen. On failure, logs it to the host and sets QuitRequested.
  cIPStreamAbstractor(std::string address, std::int32_t port);

  void PortFlush() override;
  void PortPoll() override;

  // Polls once: TCP does not report when the bytes have reached the device.
  void PortXmitWait() override;

  std::shared_ptr<iAbstractPortReceiver> Parent;
  bool InitialFlush = false;  // set by the connected event
};

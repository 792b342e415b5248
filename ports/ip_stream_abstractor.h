// The device port over a TCP connection to a network-attached interface.

#ifndef PORTS_IP_STREAM_ABSTRACTOR_H_
#define PORTS_IP_STREAM_ABSTRACTOR_H_

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

  // Queues the bytes, which leave with the next poll or pump pass.
  void PortSendData(const std::string& data) override;

  // Connects and waits for at most about ten seconds, in which the process's other events go on.
  bool PortOpen() override;

  // Sends what is queued as far as the network takes it, then closes.
  void PortClose() override;
  void PortClear() override;

  // Connects to the device as PortOpen does. A failure is logged to the host and sets QuitRequested.
  cIPStreamAbstractor(std::string address, std::int32_t port);

  void PortFlush() override;
  void PortPoll() override;

  // Polls once: what the network still carries cannot be waited for.
  void PortXmitWait() override;

  std::shared_ptr<iAbstractPortReceiver> Parent;
  bool InitialFlush = false;  // the connected event has come
};

#endif  // PORTS_IP_STREAM_ABSTRACTOR_H_

// The device port over a local serial line: 9600 baud, 8 data bits, no parity, DTR asserted.

#pragma once

#include <memory>
#include <string>

#include "platform/serial_port.h"
#include "ports/abstract_port.h"

class cSerialPortAbstractor : public platform::SerialPort, public iAbstractPort {
 protected:
  void Event_DataAvailable() override;
  void Event_Error() override;

 public:
  void PortSetParent(std::shared_ptr<iAbstractPortReceiver> receiver) override;

  // Returns when the last byte has been transmitted or the port has failed.
  void PortSendData(const std::string& data) override;

  bool PortOpen() override;
  void PortClose() override;
  void PortClear() override;

  // Finds and opens the named port: a path, or a device under /dev. On failure, logs it to the host and sets
  // QuitRequested.
  explicit cSerialPortAbstractor(std::string port_name);

  void PortFlush() override;
  void PortPoll() override;
  void PortXmitWait() override;

 protected:
  void SetupAndOpen();

 public:
  std::shared_ptr<iAbstractPortReceiver> Parent;
  std::string MyPortName;
};

// The device driver: translates a device command of the host into a Torvy command for the interface.
//
// A Torvy command is the first two and the last two characters of the unit's address and a letter: "U", "D" or "S",
// such as 0102U, with nothing around it. The link is used in one direction: what the interface sends is ignored.

#ifndef DEVICE_TORVY_H_
#define DEVICE_TORVY_H_

#include <cstdint>
#include <string>

#include "message/quorvane_command.h"
#include "ports/abstract_port.h"

class cTorvy : public iAbstractPortReceiver {
 public:
  // Writes the Torvy command for the message's "addr" and "mcmd" entries to State().DevicePort. A command that is not
  // ON, OFF or Stop is reported to the host instead; so is a message without entries, except a log packet.
  virtual void HandleQuorvaneCommand(const cQuorvaneCommand& command);

  void PortDataAvailable(const std::string& data) override;
  void PortError(const std::string& message, std::int32_t code) override;
};

#endif  // DEVICE_TORVY_H_

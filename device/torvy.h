// The device driver: translates device commands from the host into Torvy commands for the interface.
//
// A Torvy command, such as 0102U, consists of the first two and the last two characters of the unit's address and the
// letter of an action (device/actions.h), without any delimiter. The link is one-way: input from the interface is
// ignored.

#pragma once

#include <cstdint>
#include <string>

#include "message/quorvane_command.h"
#include "ports/abstract_port.h"

class cTorvy : public iAbstractPortReceiver {
 public:
  // Sends the Torvy command for the message's "addr" and "mcmd" entries to State().DevicePort. If the command is not in
  // kTorvyActions, or if the message has no dictionary and is not a log packet, reports it to the host instead.
  virtual void HandleQuorvaneCommand(const cQuorvaneCommand& command);

  void PortDataAvailable(const std::string& data) override;
  void PortError(const std::string& message, std::int32_t code) override;
};

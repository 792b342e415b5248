// The host's end of the host link: listens for the driver, sends commands, and parses the handshake and log packets.

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/quorvane_command.h"
#include "peers/listener.h"

// Returns a device command for the unit at an address.
cQuorvaneCommand DeviceCommand(std::string_view address, std::string_view command, std::string_view packet_id);

// Returns the controller command with this letter.
cQuorvaneCommand ControllerCommand(std::string_view letter);

// Returns the controller command that sends bytes to the device unchanged.
cQuorvaneCommand RawDataCommand(std::string_view bytes);

class SimulatedHost {
 public:
  struct LogEntry {
    std::int32_t level;
    std::string text;
    bool operator==(const LogEntry&) const = default;
  };

  SimulatedHost();

  std::int32_t Port() const { return listener_.Port(); }
  // Returns the link to the driver; null until it has connected.
  Channel* Link() const { return listener_.Peer(); }

  void Send(cQuorvaneCommand command) const { Link()->Send(command.GetRawCommand()); }

  // Return what the driver has sent so far: the connection identifier of its handshake, and its log entries.
  const std::optional<std::string>& ConnectionID() const { return connection_id_; }
  const std::vector<LogEntry>& Log() const { return log_; }
  // Returns the log so far, each entry as "LEVEL TEXT".
  std::vector<std::string> Entries() const;
  void ClearLog() { log_.clear(); }
  // Whether the driver has logged this text.
  bool HasLogged(std::string_view text) const;
  // Returns received bytes that are not part of the handshake or a log packet. There should be none.
  const std::string& Unexpected() const { return unexpected_; }

  std::function<void()> OnHandshake;
  std::function<void(const LogEntry&)> OnLog;

 private:
  void ParseReceived();

  Listener listener_;
  std::optional<std::string> connection_id_;
  std::vector<LogEntry> log_;
  std::string unexpected_;
};

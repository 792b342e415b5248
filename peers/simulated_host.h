// The host's end of the host link: listens for the driver, sends commands, parses the handshake and the log packets.

#ifndef PEERS_SIMULATED_HOST_H_
#define PEERS_SIMULATED_HOST_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/quorvane_command.h"
#include "peers/listener.h"

// A device command for the unit at an address.
cQuorvaneCommand DeviceCommand(std::string_view address, std::string_view command, std::string_view packet_id);

// A command for the driver process itself, by its letter.
cQuorvaneCommand ControllerCommand(std::string_view letter);

// The controller command that passes bytes to the device as they are.
cQuorvaneCommand RawDataCommand(std::string_view bytes);

class SimulatedHost {
 public:
  struct LogLine {
    std::int32_t level;
    std::string text;
    bool operator==(const LogLine&) const = default;
  };

  SimulatedHost();

  std::int32_t Port() const { return listener_.Port(); }
  // The link to the driver, null until it has connected.
  Channel* Link() const { return listener_.Peer(); }

  void Send(cQuorvaneCommand command) const { Link()->Send(command.GetRawCommand()); }

  // What the driver has sent so far.
  const std::optional<std::string>& ConnectionID() const { return connection_id_; }
  const std::vector<LogLine>& Log() const { return log_; }
  // The log so far, each line as "LEVEL TEXT".
  std::vector<std::string> Lines() const;
  void ForgetLog() { log_.clear(); }
  // Whether such a log line has come.
  bool HasLogged(std::string_view text) const;
  // Bytes that are neither the handshake nor a log packet. There should be none.
  const std::string& Unexpected() const { return unexpected_; }

  std::function<void()> OnHandshake;
  std::function<void(const LogLine&)> OnLog;

 private:
  void TakeFromLink();

  Listener listener_;
  std::optional<std::string> connection_id_;
  std::vector<LogLine> log_;
  std::string unexpected_;
};

#endif  // PEERS_SIMULATED_HOST_H_

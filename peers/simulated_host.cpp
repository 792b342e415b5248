#include "peers/simulated_host.h"

#include <algorithm>
#include <utility>

cQuorvaneCommand DeviceCommand(std::string_view address, std::string_view command, std::string_view packet_id) {
  cQuorvaneCommand message;
  message.SetMulti("addr", address);
  message.SetMulti("mcmd", command);
  message.SetMulti("PkID", packet_id);
  return message;
}

cQuorvaneCommand ControllerCommand(std::string_view letter) {
  cQuorvaneCommand message;
  message.SetFlag("&h40");
  message.SetCommand(letter);
  return message;
}

cQuorvaneCommand RawDataCommand(std::string_view bytes) {
  cQuorvaneCommand message = ControllerCommand("X");
  message.SetRawData(bytes);
  return message;
}

SimulatedHost::SimulatedHost() {
  listener_.OnAccept = [this] {
    connection_id_.reset();
    Link()->OnChange = [this] { ParseReceived(); };
  };
}

bool SimulatedHost::HasLogged(std::string_view text) const {
  return std::ranges::any_of(log_, [text](const LogEntry& entry) { return entry.text == text; });
}

std::vector<std::string> SimulatedHost::Entries() const {
  std::vector<std::string> entries;
  entries.reserve(log_.size());
  for (const LogEntry& entry : log_) entries.push_back(std::to_string(entry.level) + " " + entry.text);
  return entries;
}

void SimulatedHost::ParseReceived() {
  std::string& received = Link()->Received;
  if (!connection_id_) {
    constexpr std::string_view kStart = "TORVY:";
    const std::size_t end = received.find('\r');
    if (end != std::string::npos && received.starts_with(kStart)) {
      connection_id_ = received.substr(kStart.size(), end - kStart.size());
      received.erase(0, end + 1);
      if (OnHandshake) OnHandshake();
    }
  }
  while (connection_id_ && received.size() >= 2) {
    const auto length = static_cast<std::size_t>(static_cast<unsigned char>(received[1]));
    if (received[0] != 'L' || length < 3) {
      unexpected_ += std::exchange(received, {});
      break;
    }
    if (received.size() < length) break;
    cQuorvaneCommand packet;
    packet.InitFromCommonMessage(received.substr(0, length));
    received.erase(0, length);
    log_.push_back({packet.LogData, packet.LogMessage});
    if (OnLog) OnLog(log_.back());
  }
}

#include "simulator/device.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>

#include "peers/serial_line.h"
#include "platform/clock.h"
#include "simulator/format.h"

bool Device::IsOverIp(const Endpoint& endpoint) {
  return std::holds_alternative<OnTcp>(endpoint) || std::holds_alternative<OnNetwork>(endpoint);
}

bool Device::IsObservable(const Endpoint& endpoint) {
  if (const auto* const line = std::get_if<OnSerialLine>(&endpoint)) return !line->other_end.empty();
  return !std::holds_alternative<OnNetwork>(endpoint);
}

Device::Device(const Endpoint& endpoint) {
  if (const auto* const network = std::get_if<OnNetwork>(&endpoint)) {
    names_ = {network->address, std::to_string(network->port)};
  } else if (const auto* const tcp = std::get_if<OnTcp>(&endpoint)) {
    constexpr int kBacklog = 16;
    listener_ = std::make_unique<Listener>(tcp->address, kBacklog, tcp->port);
    listener_->OnAccept = [this] { Accept(); };
    names_ = {tcp->address, std::to_string(listener_->Port())};
  } else if (const auto* const line = std::get_if<OnSerialLine>(&endpoint)) {
    names_ = {line->port};
    if (line->other_end.empty()) return;
    other_end_ = std::make_unique<Channel>(OpenSerialLine(line->other_end));
    Attach(*other_end_);
  } else {
    terminal_ = std::make_unique<PseudoTerminal>();
    Attach(terminal_->Line());
    names_ = {terminal_->Path()};
  }
}

Channel* Device::Link() {
  return connections_.empty() ? nullptr : connections_.back()->channel;
}

void Device::KeepOpen() {
  if (terminal_) driver_side_ = platform::Descriptor(open(names_.front().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
}

void Device::Accept() {
  std::erase_if(connections_, [](const auto& connection) { return connection->channel->Ended; });
  std::unique_ptr<Channel> accepted = listener_->TakePeer();
  Channel& channel = *accepted;
  Attach(channel, std::move(accepted));
  if (OnLink) OnLink(ShownNumber(*connections_.back()), true);
}

void Device::Attach(Channel& channel, std::unique_ptr<Channel> accepted) {
  connections_.push_back(std::make_unique<Connection>(++drivers_, std::move(accepted), &channel));
  channel.OnChange = [this, connection = connections_.back().get()] {
    const std::string bytes = std::exchange(connection->channel->Received, {});
    if (!bytes.empty()) HandleReceived(*connection, bytes);
    if (!connection->channel->Ended) return;
    ShowFirst(*connection, connection->unshown.size());
    if (connection->accepted && OnLink) OnLink(ShownNumber(*connection), false);
  };
}

void Device::HandleReceived(Connection& connection, const std::string& bytes) {
  bytes_seen_ += bytes.size();
  last_bytes_ = platform::MonotonicNow();
  connection.unshown += bytes;
  if (OnBytes) OnBytes(bytes);
  // Keep an incomplete command until the rest arrives: a receive may end within one, and a serial line delivers single
  // bytes.
  std::size_t count = CompleteCommands(connection.unshown);
  const bool all = count == 0 && (!other_end_ || connection.unshown.size() > kMaxShown);
  if (all) count = connection.unshown.size();
  ShowFirst(connection, count);
}

platform::Interest Device::PrepareToWait() {
  const auto is_shown = [](const auto& connection) { return connection->unshown.empty(); };
  if (std::ranges::all_of(connections_, is_shown)) return {};
  return {.deadline = last_bytes_ + kQuietTime};
}

bool Device::IsQuiet() const {
  return platform::MonotonicNow() - last_bytes_ >= kQuietTime;
}

void Device::ShowPending() {
  for (const auto& connection : connections_) ShowFirst(*connection, connection->unshown.size());
}

void Device::ShowFirst(Connection& connection, std::size_t count) {
  const std::string shown = connection.unshown.substr(0, count);
  connection.unshown.erase(0, count);
  for (const std::string_view line : DeviceLines(shown)) OnShow(ShownNumber(connection), line);
}

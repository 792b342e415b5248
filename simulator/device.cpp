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
    if (!line->other_end.empty()) Attach(std::make_unique<Channel>(OpenSerialLine(line->other_end)));
  } else {
    PseudoTerminal terminal;
    Attach(terminal.TakeLine());
    names_ = {terminal.Path()};
  }
}

Channel* Device::Link() {
  return connections_.empty() ? nullptr : connections_.back()->channel.get();
}

void Device::KeepOpen() {
  if (!listener_) driver_side_ = platform::Descriptor(open(names_.front().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
}

void Device::Accept() {
  std::erase_if(connections_, [](const auto& connection) { return connection->channel->Ended; });
  Attach(listener_->TakePeer());
  if (OnLink) OnLink(ShownNumber(*connections_.back()), true);
}

void Device::Attach(std::unique_ptr<Channel> channel) {
  connections_.push_back(std::make_unique<Connection>(++drivers_, std::move(channel)));
  connections_.back()->channel->OnChange = [this, connection = connections_.back().get()] {
    const std::string bytes = std::exchange(connection->channel->Received, {});
    if (!bytes.empty()) HandleReceived(*connection, bytes);
    if (!connection->channel->Ended) return;
    Show(*connection, true);
    if (listener_ && OnLink) OnLink(ShownNumber(*connection), false);
  };
}

void Device::HandleReceived(Connection& connection, const std::string& bytes) {
  bytes_seen_ += bytes.size();
  last_bytes_ = platform::MonotonicNow();
  connection.unshown += bytes;
  if (OnBytes) OnBytes(bytes);
  Show(connection, false);
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
  for (const auto& connection : connections_) Show(*connection, true);
}

void Device::Show(Connection& connection, bool all) {
  std::string_view rest = connection.unshown;
  while (!rest.empty()) {
    const std::string_view line = FirstLine(rest);
    const bool may_continue = line.size() == rest.size() && line.size() <= kMaxShown && CommandLength(line) == 0;
    if (may_continue && !all) break;
    OnShow(ShownNumber(connection), line);
    rest.remove_prefix(line.size());
  }
  connection.unshown = std::string(rest);
}

#include "simulator/device.h"

#include <fcntl.h>

#include <utility>

#include "peers/serial_line.h"
#include "platform/clock.h"
#include "simulator/wording.h"

Device::Device(const Endpoint& endpoint) {
  if (!endpoint.network.address.empty()) {
    names_ = {endpoint.network.address, std::to_string(endpoint.network.port)};
  } else if (endpoint.over_ip) {
    constexpr int kBacklog = 16;
    listener_ = std::make_unique<Listener>(endpoint.listen.address, kBacklog, endpoint.listen.port);
    listener_->OnAccept = [this] { Accept(); };
    names_ = {endpoint.listen.address, std::to_string(listener_->Port())};
  } else if (endpoint.port.empty()) {
    terminal_ = std::make_unique<PseudoTerminal>();
    Attach(terminal_->Line());
    names_ = {terminal_->Path()};
  } else {
    names_ = {endpoint.port};
    if (!endpoint.other_end.empty()) {
      other_end_ = std::make_unique<Channel>(OpenSerialLine(endpoint.other_end));
      Attach(*other_end_);
    }
  }
}

Channel* Device::Link() {
  return connections_.empty() ? nullptr : connections_.back()->channel;
}

bool Device::LinkIsClosed() {
  const Channel* const link = Link();
  return link != nullptr && (link->Ended || link->Number() < 0);
}

void Device::StayForNextDriver() {
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
    if (!bytes.empty()) Take(*connection, bytes);
    if (!connection->channel->Ended) return;
    Show(*connection);
    if (connection->accepted && OnLink) OnLink(ShownNumber(*connection), false);
  };
}

void Device::Take(Connection& connection, const std::string& bytes) {
  bytes_seen_ += bytes.size();
  last_bytes_ = platform::MonotonicNow();
  connection.unshown += bytes;
  if (OnBytes) OnBytes(bytes);
  // The driver writes a command in one piece; only a real serial line delivers it byte by byte.
  const bool whole = EndsCommand(connection.unshown.back());
  if (!other_end_ || whole || connection.unshown.size() > kMostShown) Show(connection);
}

bool Device::IsQuiet() const {
  constexpr std::chrono::milliseconds kPause{100};
  return platform::MonotonicNow() - last_bytes_ >= kPause;
}

void Device::ShowOverdue() {
  if (IsQuiet()) Show();
}

void Device::Show() {
  for (const auto& connection : connections_) Show(*connection);
}

void Device::Show(Connection& connection) {
  const std::string bytes = std::exchange(connection.unshown, {});
  if (OnShow && !bytes.empty()) OnShow(ShownNumber(connection), bytes);
}

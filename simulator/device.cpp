#include "simulator/device.h"

#include <fcntl.h>

#include <utility>

#include "peers/serial_line.h"
#include "platform/clock.h"

Device::Device(const Place& place) {
  if (!place.address.empty()) {
    names_ = {place.address, std::to_string(place.tcp_port)};
  } else if (place.over_ip) {
    listener_ = std::make_unique<Listener>();
    listener_->OnAccept = [this] {
      if (OnLink) OnLink(true);
      Listen(*listener_->Peer());
    };
    names_ = {"127.0.0.1", std::to_string(listener_->Port())};
  } else if (place.port.empty()) {
    terminal_ = std::make_unique<PseudoTerminal>();
    Listen(terminal_->Line());
    names_ = {terminal_->Path()};
  } else {
    names_ = {place.port};
    if (!place.other_end.empty()) {
      other_end_ = std::make_unique<Channel>(OpenSerialLine(place.other_end));
      Listen(*other_end_);
    }
  }
}

Channel* Device::Link() {
  if (terminal_) return &terminal_->Line();
  return listener_ ? listener_->Peer() : other_end_.get();
}

void Device::StayForNextDriver() {
  if (terminal_) driver_side_ = platform::Descriptor(open(names_.front().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
}

void Device::Listen(Channel& line) {
  line.OnChange = [this, &line] {
    const std::string bytes = std::exchange(line.Received, {});
    if (!bytes.empty()) Take(bytes);
    if (line.Ended && listener_ && OnLink) OnLink(false);
  };
}

void Device::Take(const std::string& bytes) {
  constexpr std::size_t kMostUnshown = 60;
  constexpr std::string_view kEndsOfCommands = "UDS";
  bytes_seen_ += bytes.size();
  last_bytes_ = platform::MonotonicNow();
  unshown_ += bytes;
  if (OnBytes) OnBytes(bytes);
  const bool whole = kEndsOfCommands.find(unshown_.back()) != std::string_view::npos;
  if (whole || unshown_.size() > kMostUnshown) Show();
}

void Device::ShowRest() {
  constexpr std::chrono::milliseconds kPause{100};
  if (!unshown_.empty() && platform::MonotonicNow() - last_bytes_ >= kPause) Show();
}

void Device::Show() {
  const std::string bytes = std::exchange(unshown_, {});
  if (OnShow && !bytes.empty()) OnShow(bytes);
}

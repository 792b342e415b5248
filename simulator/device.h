// The interface's end of the device link: simulated, the other end of a real line, or a real one that cannot be seen.

#ifndef SIMULATOR_DEVICE_H_
#define SIMULATOR_DEVICE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "peers/channel.h"
#include "peers/listener.h"
#include "peers/pseudo_terminal.h"

class Device {
 public:
  // Where the interface is.
  struct Place {
    bool over_ip = false;
    std::string port;       // a real serial port; empty for a pseudo-terminal
    std::string other_end;  // the port at the other end of its line; empty when there is none to be seen
    std::string address;    // a real interface in the network; empty for one on the loopback
    std::int32_t tcp_port = 0;

    bool IsReal() const { return !port.empty() || !address.empty(); }
    // Whether what reaches the interface can be seen.
    bool CanBeSeen() const { return !IsReal() || !other_end.empty(); }
    static constexpr const char* kCannotBeSeen = "what reaches a real device cannot be seen or disturbed from here";
  };

  // Throws std::system_error when the place cannot be had.
  explicit Device(const Place& place);

  // What the driver is to name: a serial port, or an address and a port.
  const std::vector<std::string>& Names() const { return names_; }
  // The interface's end; null when it cannot be seen, or while nobody has connected.
  Channel* Link();
  // Keeps a pseudo-terminal alive while no driver has it, so that one can leave and the next come.
  void StayForNextDriver();

  // Called with bytes that have come, and with the same bytes for showing, where a command is not cut in two.
  std::function<void(const std::string&)> OnBytes;
  std::function<void(const std::string&)> OnShow;
  // Called when a driver has connected (true) or left; only over TCP.
  std::function<void(bool)> OnLink;

  // Shows bytes that have waited a while for the rest of their command. To be called now and then.
  void ShowRest();
  std::size_t BytesSeen() const { return bytes_seen_; }

 private:
  void Listen(Channel& line);
  void Take(const std::string& bytes);
  void Show();

  std::unique_ptr<PseudoTerminal> terminal_;
  std::unique_ptr<Channel> other_end_;
  std::unique_ptr<Listener> listener_;
  platform::Descriptor driver_side_;
  std::vector<std::string> names_;
  std::string unshown_;
  std::chrono::nanoseconds last_bytes_{};
  std::size_t bytes_seen_ = 0;
};

#endif  // SIMULATOR_DEVICE_H_

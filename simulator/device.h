// The interface's end of the device link: simulated, the other end of a real line, or a real interface that cannot be
// seen from here.

#ifndef SIMULATOR_DEVICE_H_
#define SIMULATOR_DEVICE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "peers/channel.h"
#include "peers/listener.h"
#include "peers/pseudo_terminal.h"

class Device {
 public:
  struct TcpAddress {
    std::string address;
    std::int32_t port = 0;
  };

  // How the interface is reached.
  struct Endpoint {
    bool over_ip = false;
    std::string port;                   // a real serial port; empty for a pseudo-terminal
    std::string other_end;              // the port at the other end of that line; empty when it cannot be seen
    TcpAddress network;                 // a real interface in the network; empty for one of ours
    TcpAddress listen{"127.0.0.1", 0};  // where ours listens; port 0 takes a free one

    bool IsReal() const { return !port.empty() || !network.address.empty(); }
    // Whether what reaches the interface can be seen.
    bool IsVisible() const { return !IsReal() || !other_end.empty(); }
  };
  static constexpr const char* kNotVisible = "what reaches a real device cannot be seen or disturbed from here";

  // Throws std::system_error when the endpoint cannot be opened.
  explicit Device(const Endpoint& endpoint);

  // The driver's device arguments: a serial port, or an address and a port.
  const std::vector<std::string>& Names() const { return names_; }
  // The interface's end of the last link; null when it cannot be seen, and before a driver has connected.
  Channel* Link();
  // Whether a link that can be seen was closed or lost.
  bool LinkIsClosed();
  // Keeps the pseudo-terminal open while no driver has it, so that one can leave and the next come.
  void StayForNextDriver();

  // Called with what has come, and with the same bytes when they are to be shown: a command of a slow line in one
  // piece. `driver` counts the drivers from 1; it is 0 while there has been but one.
  std::function<void(const std::string& bytes)> OnBytes;
  std::function<void(int driver, const std::string& bytes)> OnShow;
  // Called when a driver has connected or left; over TCP only.
  std::function<void(int driver, bool connected)> OnLink;

  // Shows what has not been shown: all of it, or what has waited long enough for the rest of its command. The second is
  // to be called now and then.
  void Show();
  void ShowOverdue();
  // Whether nothing has come for a while.
  bool IsQuiet() const;
  std::size_t BytesSeen() const { return bytes_seen_; }

 private:
  struct Connection {
    int number;
    std::unique_ptr<Channel> accepted;  // null for a serial line
    Channel* channel;
    std::string unshown{};
  };

  void Attach(Channel& channel, std::unique_ptr<Channel> accepted = nullptr);
  void Accept();
  void Take(Connection& connection, const std::string& bytes);
  void Show(Connection& connection);
  // The number to show for a driver.
  int ShownNumber(const Connection& connection) const { return drivers_ > 1 ? connection.number : 0; }

  std::unique_ptr<PseudoTerminal> terminal_;
  std::unique_ptr<Channel> other_end_;
  std::unique_ptr<Listener> listener_;
  std::vector<std::unique_ptr<Connection>> connections_;
  platform::Descriptor driver_side_;
  std::vector<std::string> names_;
  std::chrono::nanoseconds last_bytes_{};
  std::size_t bytes_seen_ = 0;
  int drivers_ = 0;
};

#endif  // SIMULATOR_DEVICE_H_

// The interface's end of the device link: simulated, the far end of a real serial line, or a real interface that cannot
// be observed.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "peers/channel.h"
#include "peers/listener.h"
#include "peers/pseudo_terminal.h"

class Device : public platform::EventSource {
 public:
  // By default, a free port of this computer.
  struct TcpAddress {
    std::string address = "127.0.0.1";
    std::int32_t port = 0;
  };

  // Where the interface is: simulated on a pseudo-terminal or over TCP, or real on a serial line or on the network.
  struct OnTerminal {};
  struct OnTcp : TcpAddress {};
  struct OnSerialLine {
    std::string port;
    std::string other_end;  // the port at the other end of the line; empty if there is none
  };
  struct OnNetwork : TcpAddress {};
  using Endpoint = std::variant<OnTerminal, OnTcp, OnSerialLine, OnNetwork>;

  static bool IsOverIp(const Endpoint& endpoint);
  // Whether the simulator can see what the interface receives.
  static bool IsObservable(const Endpoint& endpoint);
  static constexpr const char* kNotObservable = "a real device cannot be observed or made to fail";

  // Throws std::system_error if the endpoint cannot be opened.
  explicit Device(const Endpoint& endpoint);

  // Returns the driver's device arguments: a serial port, or an address and a port.
  const std::vector<std::string>& Names() const { return names_; }
  // Returns the interface's end of the latest link; null if it cannot be observed or no driver has connected yet.
  Channel* Link();
  // Keeps the pseudo-terminal open between drivers, so that another one can use it.
  void KeepOpen();

  // OnBytes is called with bytes as they arrive; OnShow with the same bytes, split into lines for display, with each
  // command in one line if possible. `driver` is the driver's number, from 1; empty until a second driver connects.
  std::function<void(const std::string& bytes)> OnBytes;
  std::function<void(std::optional<int> driver, std::string_view line)> OnShow;
  // Called when a driver connects or disconnects; over TCP only.
  std::function<void(std::optional<int> driver, bool connected)> OnLink;

  // Shows all bytes now, even an incomplete command, which is otherwise shown when the device has become quiet.
  void ShowPending();
  // Whether nothing has arrived for a while (100 ms).
  bool IsQuiet() const;
  std::size_t BytesSeen() const { return bytes_seen_; }

 protected:
  platform::Interest PrepareToWait() override;
  void HandleReady() override { ShowPending(); }

 private:
  static constexpr std::chrono::milliseconds kQuietTime{100};

  struct Connection {
    int number;
    std::unique_ptr<Channel> channel;
    std::string unshown{};
  };

  void Attach(std::unique_ptr<Channel> channel);
  void Accept();
  void HandleReceived(Connection& connection, const std::string& bytes);
  // Shows the bytes not yet shown. Unless `all` is true, keeps back what may be the start of a command.
  void Show(Connection& connection, bool all);
  // Returns the number to show, if there is more than one driver.
  std::optional<int> ShownNumber(const Connection& connection) const {
    return drivers_ > 1 ? std::optional(connection.number) : std::nullopt;
  }

  std::unique_ptr<Listener> listener_;
  std::vector<std::unique_ptr<Connection>> connections_;
  platform::Descriptor driver_side_;
  std::vector<std::string> names_;
  std::chrono::nanoseconds last_bytes_{};
  std::size_t bytes_seen_ = 0;
  int drivers_ = 0;
};

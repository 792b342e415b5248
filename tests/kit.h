// What several tests use: bytes written in hexadecimal, a probe of a message's inner fields, a connected
// socket.

#ifndef TESTS_KIT_H_
#define TESTS_KIT_H_

#include <fcntl.h>
#include <poll.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/device_socket.h"
#include "message/quorvane_command.h"
#include "platform/text.h"
#include "simulator/listener.h"
#include "simulator/wait.h"

// The bytes of hexadecimal pairs with blanks between them.
inline std::string Bytes(std::string_view hexadecimal) {
  std::string bytes;
  for (std::size_t i = 0; i < hexadecimal.size(); i += 3) {
    bytes += static_cast<char>(platform::ReadHexadecimal(hexadecimal.substr(i, 2)));
  }
  return bytes;
}

// Waits, without running the pump, until input has come through to the driver's side of a pseudo-terminal.
inline bool InputWaitsAt(const std::string& terminal_path) {
  constexpr int kLimitMilliseconds = 30'000;
  const platform::Descriptor line(open(terminal_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  pollfd waiting{line.Number(), POLLIN, 0};
  return poll(&waiting, 1, kLimitMilliseconds) == 1;
}

// A message whose inner fields can be seen and set.
class Probe : public cQuorvaneCommand {
 public:
  using cQuorvaneCommand::Code;
  using cQuorvaneCommand::fAddressOnly;
  using cQuorvaneCommand::fCommandOnly;
  using cQuorvaneCommand::Flags;
  using cQuorvaneCommand::fPassThrough;
  using cQuorvaneCommand::PacketLength;
  using cQuorvaneCommand::RawCommonCommand;
  using cQuorvaneCommand::UnitClass;
  using cQuorvaneCommand::Version;
};

// A host socket connected to a peer on the loopback; counts its data events.
class ConnectedSocket : public cQuorvaneDeviceSocket {
 public:
  explicit ConnectedSocket(MessageHandler handler) : cQuorvaneDeviceSocket(std::move(handler)) {
    Address = "127.0.0.1";
    Port = listener_.Port();
    ConnectionID = "17";
    Connect();
    WaitFor([this] { return IsConnected() && Peer() != nullptr && Peer()->Received == "TORVY:17\r"; });
    Peer()->Received.clear();
  }

  Channel* Peer() const { return listener_.Peer(); }

  // Sends bytes from the peer and waits until data events have brought them all.
  void Deliver(std::string_view bytes) {
    const int events_before = data_events_;
    Peer()->Send(bytes);
    WaitFor([&] { return data_events_ > events_before && Peer()->Unsent() == 0 && InputWaiting() == 0; });
  }

  // The log lines that the peer has got, as "level text", once `count` of them have come.
  std::vector<std::string> Logged(std::size_t count) {
    std::vector<std::string> lines;
    WaitFor([&] {
      lines = LogLines(Peer()->Received);
      return lines.size() >= count;
    });
    return lines;
  }

  static std::vector<std::string> LogLines(std::string_view stream) {
    std::vector<std::string> lines;
    while (stream.size() >= 3 && static_cast<unsigned char>(stream[1]) <= stream.size()) {
      const std::string_view packet = stream.substr(0, static_cast<unsigned char>(stream[1]));
      lines.push_back(std::to_string(packet[2]) + " " + std::string(packet.substr(3)));
      stream.remove_prefix(packet.size());
    }
    return lines;
  }

 protected:
  void Event_DataAvailable() override {
    ++data_events_;
    cQuorvaneDeviceSocket::Event_DataAvailable();
  }

 private:
  Listener listener_;
  int data_events_ = 0;
};

#endif  // TESTS_KIT_H_

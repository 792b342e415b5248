// Streams that record their events, and fixtures for the TCP socket and the serial port.

#ifndef TESTS_STREAM_FIXTURES_H_
#define TESTS_STREAM_FIXTURES_H_

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "peers/listener.h"
#include "peers/pseudo_terminal.h"
#include "peers/wait_for.h"
#include "platform/event_pump.h"
#include "platform/serial_port.h"
#include "platform/tcp_client_socket.h"
#include "tests/system_calls.h"

namespace platform {

inline std::string Error(int code) {
  return "error " + std::to_string(code);
}

// Records the events of a stream in order; a test may run an action after each.
template <typename Stream>
class Recording : public Stream {
 public:
  using Stream::DescriptorNumber;

  std::vector<std::string> events;
  std::function<void(const std::string& event)> then;
  bool reads = true;

 protected:
  using Stream::Stream;

  void Record(const std::string& event) {
    events.push_back(event);
    if (const auto action = then) action(event);
  }
  void Event_DataAvailable() override { Record("data " + (reads ? this->ReadAll() : "")); }
  void Event_Error() override {
    EXPECT_EQ(DescriptorNumber(), -1);
    Record(Error(this->LastErrorCode()));
  }
};

class Client : public Recording<TcpClientSocket> {
 public:
  Client(const std::string& address, std::int32_t port, std::size_t receive_size = kReceiveSize)
      : Recording(receive_size) {
    Address = address;
    Port = port;
  }

 protected:
  void Event_Connected() override { Record("connected"); }
};

// A serial port with the driver's settings.
class Line : public Recording<SerialPort> {
 public:
  explicit Line(const PseudoTerminal& terminal) {
    EXPECT_TRUE(Find(terminal.Path()));
    SetDataBits(8);
    SetParity(ParityKind::kNone);
    SetSpeed(9600);
  }
};

class TcpClientSocketTest : public testing::Test {
 protected:
  Listener listener;
  std::unique_ptr<Client> client = std::make_unique<Client>("127.0.0.1", listener.Port());

  void TearDown() override { Calls() = {}; }

  Channel& Connected() {
    client->Connect();
    EXPECT_TRUE(WaitFor([this] { return client->IsConnected() && listener.Peer() != nullptr; }));
    return *listener.Peer();
  }
  // Waits for `count` events, and a little longer for unexpected ones.
  const std::vector<std::string>& Events(std::size_t count) {
    EXPECT_TRUE(WaitFor([&] { return client->events.size() >= count; }));
    EventPump::Instance().Run(std::chrono::milliseconds(20));
    client->Poll();
    return client->events;
  }
};

class SerialPortTest : public testing::Test {
 protected:
  PseudoTerminal terminal;
  Line line{terminal};

  void TearDown() override { Calls() = {}; }
};

}  // namespace platform

#endif  // TESTS_STREAM_FIXTURES_H_

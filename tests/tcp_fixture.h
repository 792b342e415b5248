// What the tests of the TCP socket use: a socket that records its events, and a listener for it.
// GoogleMock and the system-call hooks come with them.

#ifndef TESTS_TCP_FIXTURE_H_
#define TESTS_TCP_FIXTURE_H_

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "peers/listener.h"
#include "peers/waiting.h"
#include "platform/event_pump.h"
#include "platform/tcp_client_socket.h"
#include "tests/system_calls.h"

namespace platform {

inline std::string Error(int code) {
  return "error " + std::to_string(code);
}

// Records its events in order; a test may do something after each.
class Client : public TcpClientSocket {
 public:
  std::vector<std::string> events;
  std::function<void(const std::string& event)> then;
  bool reads = true;

  Client(const std::string& address, std::int32_t port, std::size_t receive_size = kReceiveSize)
      : TcpClientSocket(receive_size) {
    Address = address;
    Port = port;
  }
  using ByteStream::DescriptorNumber;

 protected:
  void Event_Connected() override { Record("connected"); }
  void Event_DataAvailable() override { Record("data " + (reads ? ReadAll() : "")); }
  void Event_Error() override {
    EXPECT_EQ(DescriptorNumber(), -1);
    Record(Error(LastErrorCode()));
  }

 private:
  void Record(const std::string& event) {
    events.push_back(event);
    if (const auto action = then) action(event);
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
  // Waits for so many events, and a little longer for more that there should not be.
  const std::vector<std::string>& Events(std::size_t count) {
    EXPECT_TRUE(WaitFor([&] { return client->events.size() >= count; }));
    EventPump::Instance().Run(20);
    client->Poll();
    return client->events;
  }
};

}  // namespace platform

#endif  // TESTS_TCP_FIXTURE_H_

// The contract of both ports, on a pseudo-terminal and a loopback connection.

#include "ports/abstract_port.h"

#include <gmock/gmock.h>

#include "app/process_state.h"
#include "peers/pseudo_terminal.h"
#include "ports/ip_stream_abstractor.h"
#include "ports/serial_port_abstractor.h"
#include "tests/connected_socket.h"

namespace {

using testing::ElementsAre;

// Records events; a test may run an action after each.
class Receiver : public iAbstractPortReceiver {
 public:
  std::vector<std::string> events;
  std::function<void()> then;

  void PortDataAvailable(const std::string& data) override { Record("data " + data); }
  void PortError(const std::string& message, std::int32_t code) override {
    Record("error (" + message + ") " + (code > 0 ? "with a code" : "without"));
  }

 private:
  void Record(const std::string& event) {
    events.push_back(event);
    if (const auto action = then) action();
  }
};

class Ports : public testing::TestWithParam<bool> {
 protected:
  std::shared_ptr<ConnectedSocket> host = std::make_shared<ConnectedSocket>(nullptr);
  std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
  std::unique_ptr<PseudoTerminal> terminal;
  std::unique_ptr<Listener> listener;
  std::unique_ptr<iAbstractPort> port;

  void SetUp() override {
    State() = {};
    State().HostSocket = host;
    port.reset();
    terminal = std::make_unique<PseudoTerminal>();
    listener = std::make_unique<Listener>();
    State().DebugMode = true;
    if (GetParam()) {
      port = std::make_unique<cIPStreamAbstractor>("127.0.0.1", listener->Port());
      EXPECT_TRUE(dynamic_cast<cIPStreamAbstractor&>(*port).InitialFlush);
      EXPECT_THAT(
          host->Logged(),
          ElementsAre("4 torvy opening IP connection, polling and waiting...", "4 torvy Device connection event. ",
                      testing::MatchesRegex("4 torvy Connection is open after [0-9]+ ticks\\.")));
      ASSERT_TRUE(WaitFor([this] { return listener->Peer() != nullptr; }));
    } else {
      port = std::make_unique<cSerialPortAbstractor>(terminal->Path());
    }
    State().DebugMode = false;
    EXPECT_FALSE(State().QuitRequested);
  }
  void TearDown() override { State() = {}; }

  Channel& Device() { return GetParam() ? *listener->Peer() : terminal->Line(); }
  // Sends from the device and waits until the bytes have arrived, without running the port.
  void SendFromDevice(std::string_view bytes) {
    Device().Send(bytes);
    platform::EventPump::Instance().RunOnly(Device());
    ASSERT_TRUE(GetParam() || terminal->WaitForInput());
  }
};

INSTANTIATE_TEST_SUITE_P(SerialAndIP, Ports, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "IP" : "Serial"; });

TEST_P(Ports, ReportInputAndOneErrorToReceiver) {
  SendFromDevice("lost");  // no receiver is set
  platform::EventPump::Instance().Run(0);
  port->PortSetParent(receiver);
  SendFromDevice("heard");
  for (int polls = 0; receiver->events.empty() && polls < 100'000; ++polls) port->PortPoll();
  EXPECT_THAT(receiver->events, ElementsAre("data heard"));
  Device().Close();
  EXPECT_TRUE(WaitFor([this] { return receiver->events.size() == 2; }));
  port->PortSendData("nobody gets this");
  port->PortXmitWait();
  port->PortPoll();
  EXPECT_THAT(receiver->events, ElementsAre("data heard", "error () with a code"));
  EXPECT_THAT(host->Logged(), testing::IsEmpty());
}

TEST_P(Ports, CloseSendsQueuedOutputAndKeepsReceiver) {
  port->PortSetParent(receiver);
  port->PortSendData("0102U");
  port->PortClose();
  EXPECT_EQ(receiver.use_count(), 2);
  EXPECT_TRUE(WaitFor([this] { return Device().Ended; }));
  EXPECT_EQ(Device().Received, "0102U");
  port->PortSendData("nobody gets this");
  EXPECT_THAT(receiver->events, testing::IsEmpty());
}

TEST_P(Ports, ClearClosesAndReleasesReceiverAfterItsCallReturns) {
  for (const bool by_an_error : {false, true}) {
    SetUp();
    const std::weak_ptr<Receiver> watched = receiver = std::make_shared<Receiver>();
    receiver->then = [this, watched] {
      port->PortClear();
      EXPECT_FALSE(watched.expired());
    };
    port->PortSetParent(std::move(receiver));
    if (by_an_error) {
      Device().Close();
    } else {
      SendFromDevice("clear");
    }
    EXPECT_TRUE(WaitFor([&] { return watched.expired() && (by_an_error || Device().Ended); }));
  }
}

TEST_P(Ports, FlushDiscardsOnlyInputAndLogsInDebugMode) {
  port->PortSetParent(receiver);
  port->PortSendData("0102U");
  port->PortFlush();
  State().DebugMode = true;
  port->PortFlush();
  SendFromDevice("noise");
  port->PortFlush();
  EXPECT_THAT(host->Logged(), ElementsAre(GetParam() ? "4 port flush reads 0 bytes." : "4 port flush empty",
                                          "4 port flush reads 5 bytes."));
  EXPECT_THAT(receiver->events, testing::IsEmpty());
  EXPECT_TRUE(WaitFor([this] { return Device().Received == "0102U"; }));
}

}  // namespace

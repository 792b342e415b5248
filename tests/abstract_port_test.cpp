// The contract of both ports, on a pseudo-terminal and a loopback connection.

#include "ports/abstract_port.h"

#include <termios.h>

#include "app/process_state.h"
#include "peers/pseudo_terminal.h"
#include "ports/ip_stream_abstractor.h"
#include "ports/serial_port_abstractor.h"
#include "tests/support.h"

namespace {

using testing::ElementsAre;

// Records events; a test may run an action after each.
class Receiver : public iAbstractPortReceiver {
 public:
  std::string data;
  std::vector<std::int32_t> errors;
  std::function<void()> then = [] {};

  void PortDataAvailable(const std::string& bytes) override {
    data += bytes;
    then();
  }
  void PortError(const std::string& message, std::int32_t code) override {
    EXPECT_EQ(message, "");
    errors.push_back(code);
    then();
  }
};

enum class PortKind { kSerial, kIP };

class Ports : public testing::TestWithParam<PortKind> {
 protected:
  std::shared_ptr<ConnectedSocket> host = std::make_shared<ConnectedSocket>(nullptr);
  std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
  PseudoTerminal terminal;
  Listener listener;
  std::unique_ptr<iAbstractPort> port;

  static bool IsIP() { return GetParam() == PortKind::kIP; }
  void SetUp() override {
    State() = {};
    State().HostSocket = host;
    Open();
  }
  void TearDown() override { State() = {}; }

  // Opens the port, with a new far end.
  void Open() {
    port.reset();
    listener.TakePeer();
    terminal = PseudoTerminal();
    if (IsIP()) {
      port = std::make_unique<cIPStreamAbstractor>("127.0.0.1", listener.Port());
      ASSERT_TRUE(WaitFor([this] { return listener.Peer() != nullptr; }));
    } else {
      port = std::make_unique<cSerialPortAbstractor>(terminal.Path());
    }
    port->PortSetParent(receiver);
  }

  Channel& Device() { return IsIP() ? *listener.Peer() : terminal.Line(); }
  // Sends from the device and waits until the bytes have arrived, without running the port.
  void SendFromDevice(std::string_view bytes) {
    Device().Send(bytes);
    platform::EventPump::Instance().RunOnly(Device());
    ASSERT_TRUE(IsIP() || terminal.WaitForInput());
  }
};

INSTANTIATE_TEST_SUITE_P(All, Ports, testing::Values(PortKind::kSerial, PortKind::kIP),
                         [](const auto& parameter) { return parameter.param == PortKind::kIP ? "IP" : "Serial"; });

TEST_P(Ports, PassInputToReceiver) {
  SendFromDevice("heard");
  for (int polls = 0; receiver->data.empty() && polls < 100'000; ++polls) port->PortPoll();
  EXPECT_EQ(receiver->data, "heard");
  port->PortSetParent(nullptr);
  SendFromDevice("dropped");
  platform::EventPump::Instance().Run(std::chrono::milliseconds(0));
  EXPECT_EQ(receiver->data, "heard");
}

TEST_P(Ports, ReportOneError) {
  Device().CloseStream();
  EXPECT_TRUE(WaitFor([this] { return !receiver->errors.empty(); }));
  ExpectQuietPump();
  port->PortSendData("nobody gets this");
  port->PortXmitWait();
  port->PortPoll();
  EXPECT_THAT(receiver->errors, ElementsAre(testing::Gt(0)));
}

TEST_P(Ports, CloseSendsQueuedOutputAndKeepsReceiver) {
  port->PortSendData("0102U");
  port->PortClose();
  EXPECT_TRUE(WaitFor([this] { return Device().Ended; }));
  EXPECT_EQ(Device().Received, "0102U");
  EXPECT_EQ(receiver.use_count(), 2);
}

TEST_P(Ports, ReceiverMayClearPortInAnyEvent) {
  for (const bool in_error_event : {false, true}) {
    receiver = std::make_shared<Receiver>();
    Open();
    const std::weak_ptr<Receiver> watched = receiver;
    receiver->then = [&] {
      port->PortClear();  // releases the last reference to the receiver
      EXPECT_FALSE(watched.expired());
    };
    receiver.reset();
    if (in_error_event) Device().CloseStream();
    if (!in_error_event) Device().Send("clear");
    EXPECT_TRUE(WaitFor([&] { return watched.expired() && (in_error_event || Device().Ended); }));
  }
}

TEST_P(Ports, TransmitWaitSendsQueuedOutput) {
  Calls() = {};
  port->PortSendData("0102U");
  port->PortXmitWait();
  EXPECT_EQ(Calls().counts[kWrite], 1);
  EXPECT_EQ(Calls().counts[kDrain], IsIP() ? 0 : 2);  // once by each call
}

TEST_P(Ports, FlushDiscardsOnlyInput) {
  port->PortSendData("0102U");
  State().DebugMode = true;
  port->PortFlush();
  SendFromDevice("noise");
  port->PortFlush();
  EXPECT_THAT(host->Logged(), ElementsAre(IsIP() ? "4 port flush reads 0 bytes." : "4 port flush empty",
                                          "4 port flush reads 5 bytes."));
  EXPECT_EQ(receiver->data, "");
  EXPECT_TRUE(WaitFor([this] { return Device().Received == "0102U"; }));
}

TEST(SerialPortAbstractor, AcquiresNoControllingTerminal) {
  PseudoTerminal terminal;
  const ChildResult result = RunInChild([&terminal] {
    setsid();
    const cSerialPortAbstractor port(terminal.Path());
    return tcgetsid(terminal.Line().DescriptorNumber());
  });
  EXPECT_EQ(result.status, 255);  // tcgetsid returned -1: not a controlling terminal
}

}  // namespace

// What both ports promise their user, on a pseudo-terminal and a loopback connection.

#include "ports/abstract_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/process_state.h"
#include "ports/ip_stream_abstractor.h"
#include "ports/serial_port_abstractor.h"
#include "simulator/pseudo_terminal.h"
#include "tests/kit.h"

namespace {

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

class Receiver : public iAbstractPortReceiver {
 public:
  MOCK_METHOD(void, PortDataAvailable, (const std::string& data), (override));
  MOCK_METHOD(void, PortError, (const std::string& message, std::int32_t code), (override));
};

class Ports : public testing::TestWithParam<bool> {
 protected:
  std::shared_ptr<ConnectedSocket> host = std::make_shared<ConnectedSocket>(nullptr);
  std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
  PseudoTerminal terminal;
  Listener listener;
  std::unique_ptr<iAbstractPort> port;

  void SetUp() override {
    State().DebugMode = State().QuitRequested = false;
    State().HostSocket = host;
    if (GetParam()) {
      port = std::make_unique<cIPStreamAbstractor>("127.0.0.1", listener.Port());
      ASSERT_TRUE(WaitFor([this] { return listener.Peer() != nullptr; }));
    } else {
      port = std::make_unique<cSerialPortAbstractor>(terminal.Path());
    }
    EXPECT_FALSE(State().QuitRequested);
  }
  void TearDown() override { State().HostSocket.reset(); }

  Channel& Device() { return GetParam() ? *listener.Peer() : terminal.Line(); }
  void Pump() { platform::EventPump::Instance().Run(30); }
};

INSTANTIATE_TEST_SUITE_P(SerialAndIP, Ports, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "IP" : "Serial"; });

TEST_P(Ports, InputWithoutAReceiverIsLost) {
  Device().Send("lost");
  Pump();
  port->PortSetParent(receiver);
  EXPECT_CALL(*receiver, PortDataAvailable(_)).Times(0);
  Pump();
  testing::Mock::VerifyAndClearExpectations(receiver.get());
  bool called = false;
  EXPECT_CALL(*receiver, PortDataAvailable("heard")).WillOnce([&](const std::string&) { called = true; });
  Device().Send("heard");
  EXPECT_TRUE(WaitFor([&called] { return called; }));
  EXPECT_THAT(ConnectedSocket::LogLines(host->Peer()->Received), IsEmpty());
}

TEST_P(Ports, ReceiverIsToldOfAnErrorOnceAndWithoutAMessage) {
  port->PortSetParent(receiver);
  int errors = 0;
  EXPECT_CALL(*receiver, PortError("", testing::Gt(0))).WillOnce([&](const std::string&, std::int32_t) { ++errors; });
  Device().Close();
  EXPECT_TRUE(WaitFor([&errors] { return errors > 0; }));
  Pump();
  port->PortSendData("nobody gets this");
  port->PortXmitWait();
  port->PortPoll();
}

TEST_P(Ports, CloseKeepsTheReceiverAndClearReleasesIt) {
  port->PortSetParent(receiver);
  EXPECT_CALL(*receiver, PortError(_, _)).Times(0);
  port->PortClose();
  EXPECT_EQ(receiver.use_count(), 2);
  EXPECT_TRUE(WaitFor([this] { return Device().Ended; }));
  port->PortClear();
  EXPECT_EQ(receiver.use_count(), 1);
  port->PortSendData("nobody gets this");
  Pump();
}

TEST_P(Ports, FlushIsToldInDebugModeAlone) {
  port->PortFlush();
  State().DebugMode = true;
  port->PortFlush();
  const std::string nothing = GetParam() ? "4 port flush reads 0 bytes." : "4 port flush empty";
  EXPECT_THAT(host->Logged(1), ElementsAre(nothing));
  port->PortSetParent(receiver);
  EXPECT_CALL(*receiver, PortDataAvailable(_)).Times(0);
  Device().Send("noise");
  platform::EventPump::Instance().RunOnly(Device());
  ASSERT_TRUE(GetParam() || InputWaitsAt(terminal.Path()));
  port->PortFlush();
  EXPECT_THAT(host->Logged(2), ElementsAre(nothing, "4 port flush reads 5 bytes."));
}

TEST_P(Ports, CarriesCommandsUnchanged) {
  const std::string all = std::string("\0\r\n\x11\x13\xFF", 6) + "0102U";
  port->PortSendData(all);
  port->PortXmitWait();
  EXPECT_TRUE(WaitFor([&] { return Device().Received == all; }));
}

TEST(SerialPortAbstractor, TellsWhyItCannotOpen) {
  const auto host = std::make_shared<ConnectedSocket>(nullptr);
  State().HostSocket = host;
  const std::pair<const char*, const char*> cases[] = {
      {"no-such-port", "4 torvy: unable to find a serial port named: no-such-port"},
      {"/dev/null", "4 torvy: unable to open the port named: /dev/null"}};
  for (const auto& [name, line] : cases) {
    State().QuitRequested = false;
    host->Peer()->Received.clear();
    cSerialPortAbstractor port(name);
    EXPECT_THAT(host->Logged(1), ElementsAre(line));
    EXPECT_TRUE(State().QuitRequested);
    port.PortPoll();
    port.PortClose();
  }
  State().HostSocket.reset();
}

TEST(IPStreamAbstractor, TellsOfItsConnectionInDebugMode) {
  const auto host = std::make_shared<ConnectedSocket>(nullptr);
  State().HostSocket = host;
  State().DebugMode = true;
  const Listener listener;
  const cIPStreamAbstractor port("127.0.0.1", listener.Port());
  const std::vector<std::string> lines = host->Logged(3);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "4 torvy opening IP connection, polling and waiting...");
  EXPECT_EQ(lines[1], "4 torvy Device connection event. ");
  EXPECT_THAT(lines[2], testing::MatchesRegex("4 torvy Connection is open after [0-9]+ ticks\\."));
  EXPECT_TRUE(port.InitialFlush);
  State().HostSocket.reset();
}

}  // namespace

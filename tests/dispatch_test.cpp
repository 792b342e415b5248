#include "host/dispatch.h"

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/log.h"
#include "peers/fake_port.h"
#include "tests/support.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Dispatch : public testing::Test {
 protected:
  std::string written;
  std::shared_ptr<ConnectedSocket> host = std::make_shared<ConnectedSocket>(DispatchHostCommand);

  void SetUp() override {
    State() = {};
    State().HostSocket = host;
    State().Driver = std::make_shared<cTorvy>();
    State().DevicePort = std::make_shared<FakePort>([this](const std::string& data) { written += data; });
  }
  void TearDown() override { State().Release(); }

  // Sends the message over the link, and returns the resulting log lines.
  std::vector<std::string> Receive(cQuorvaneCommand message) {
    written.clear();
    host->Deliver(message.GetRawCommand());
    return host->Logged();
  }
  // Sends a supported device command; returns the bytes written to the device.
  std::string Translate(std::string_view address, std::string_view command) {
    EXPECT_THAT(Receive(DeviceCommand(address, command, "1")), IsEmpty());
    return written;
  }
};

TEST_F(Dispatch, TranslatesDeviceCommands) {
  EXPECT_EQ(Translate("0102", "ON"), "0102U");
  EXPECT_EQ(Translate("0102", "off"), "0102D");
  EXPECT_EQ(Translate("0102", "sToP"), "0102S");
  EXPECT_EQ(Translate("01.02", "ON"), "0102U");
  EXPECT_EQ(Translate("123", "ON"), "1223U");
  EXPECT_EQ(Translate("7", "ON"), "77U");
  EXPECT_EQ(Translate("", "ON"), "U");
  EXPECT_EQ(Translate("\xE2\x82\xACx-yz", "ON"), "\xE2\x82\xACxyzU");
}

TEST_F(Dispatch, ReportsUnsupportedCommands) {
  for (const std::string command : {"DIM", "", "ON ", "\xC3\x96N"}) {
    EXPECT_THAT(Receive(DeviceCommand("0102", command, "1")), ElementsAre("4 unsupported command: " + command));
    EXPECT_EQ(written, "");
  }
}

TEST_F(Dispatch, LogsCommandsInDebugMode) {
  State().DebugMode = true;
  EXPECT_THAT(Receive(DeviceCommand("0102", "ON", "1")),
              ElementsAre("2 received command from Quorvane: ", "4 sending command: (0102U)"));
  EXPECT_THAT(Receive(ControllerCommand("r")), ElementsAre("2 received command from Quorvane: r"));
}

TEST_F(Dispatch, ExecutesControllerCommands) {
  EXPECT_THAT(Receive(ControllerCommand("q")), ElementsAre("2 The torvy plx has been asked to quit. (1)"));
  EXPECT_TRUE(std::exchange(State().QuitRequested, false));
  EXPECT_THAT(Receive(ControllerCommand("p")), ElementsAre("2 The torvy plx has been asked to quit. (2)"));
  EXPECT_TRUE(State().QuitRequested);
  Receive(ControllerCommand("D"));
  EXPECT_TRUE(State().DebugMode);
  Receive(ControllerCommand("d"));
  EXPECT_FALSE(State().DebugMode);
  const std::string longest = std::string("\0\r\xFF", 3) + std::string(241, 'r');
  EXPECT_THAT(Receive(RawDataCommand(longest)), IsEmpty());
  EXPECT_EQ(written, longest);
}

TEST_F(Dispatch, ReportsPlainCommandsButNotLogPackets) {
  cQuorvaneCommand plain;
  plain.SetCommand("Q");
  // Without the controller flag, it is a low-battery "P" and does not quit.
  EXPECT_THAT(Receive(plain), ElementsAre("4 unsupported command: UNKNOWN COMMAND CODE: (P) 0x50 for address A1"));
  EXPECT_FALSE(State().QuitRequested);
  plain.SetCommand("3");
  plain.SetHouseCode("C");
  plain.SetUnitCode(12);
  plain.SetFlag("&h0A");
  EXPECT_THAT(Receive(plain), ElementsAre("4 unsupported command: stacked OFF for address C12 (W)"));
  host->Deliver("L\x05\x02hi");
  EXPECT_THAT(host->Logged(), IsEmpty());
}

TEST_F(Dispatch, LogToHostPollsThreeTimesAfterQueueing) {
  Calls() = {};
  QueueLogToHost("queued", 2);
  EXPECT_EQ(Calls().counts[kPoll], 0);
  EXPECT_EQ(Calls().counts[kWrite], 0);
  LogToHost("sent", 2);
  EXPECT_EQ(Calls().counts[kPoll], 3);
  EXPECT_EQ(Calls().counts[kWrite], 1);
}

// Releases an object during a call to it; it must live until the call returns.
template <typename Object>
void Release(std::shared_ptr<Object>& only_owner) {
  const std::weak_ptr<Object> watched = only_owner;
  only_owner.reset();
  EXPECT_FALSE(watched.expired());
}

class TorvyThatReleasesItself : public cTorvy {
 public:
  void HandleQuorvaneCommand(const cQuorvaneCommand& /*command*/) override { Release(State().Driver); }
};

TEST_F(Dispatch, PortAndDriverLiveUntilTheirCallsReturn) {
  State().DevicePort = std::make_shared<FakePort>([](const std::string&) { Release(State().DevicePort); });
  Receive(DeviceCommand("0102", "ON", "1"));
  EXPECT_EQ(State().DevicePort, nullptr);
  State().Driver = std::make_shared<TorvyThatReleasesItself>();
  Receive(DeviceCommand("0102", "ON", "1"));
  EXPECT_EQ(State().Driver, nullptr);
}

TEST_F(Dispatch, HostSocketLivesUntilItsPollReturns) {
  auto socket = std::make_shared<ConnectedSocket>([](const cQuorvaneCommand&) { Release(State().HostSocket); });
  socket->Host.Send(ControllerCommand("D"));
  platform::EventPump::Instance().RunOnly(*socket->Host.Link());
  State().HostSocket = std::move(socket);
  LogToHost("polls", 2);
  EXPECT_EQ(State().HostSocket, nullptr);
}

TEST_F(Dispatch, DropsMessagesBeforePortAndDriverExist) {
  State().DevicePort.reset();
  EXPECT_THAT(Receive(DeviceCommand("0102", "ON", "1")), IsEmpty());
  EXPECT_THAT(Receive(RawDataCommand("0102U")), IsEmpty());
  State().Driver.reset();
  EXPECT_THAT(Receive(DeviceCommand("0102", "DIM", "1")), IsEmpty());
  State().HostSocket.reset();
  LogToHost("nobody", 4);
}

}  // namespace

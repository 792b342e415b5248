#include "host/dispatch.h"

#include <gmock/gmock.h>

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/log.h"
#include "tests/bytes.h"
#include "tests/connected_socket.h"
#include "tests/fake_port.h"
#include "tests/system_calls.h"

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
  std::vector<std::string> Receive(cQuorvaneCommand message) { return ReceiveBytes(message.GetRawCommand()); }
  std::vector<std::string> ReceiveBytes(const std::string& packet) {
    written.clear();
    host->Deliver(packet);
    return host->Logged();
  }
};

TEST_F(Dispatch, TranslatesDeviceCommands) {
  const struct {
    std::string_view address, command;
    std::string device;  // empty: unsupported
  } cases[] = {{"0102", "ON", "0102U"},  {"0102", "off", "0102D"},  {"0102", "sToP", "0102S"},
               {"01.02", "ON", "0102U"}, {"123", "ON", "1223U"},    {"7", "ON", "77U"},
               {"", "ON", "U"},          {"0102", "DIM", ""},       {"0102", "", ""},
               {"0102", "ON ", ""},      {"0102", "\xC3\x96N", ""}, {"\xE2\x82\xACx-yz", "ON", "\xE2\x82\xACxyzU"}};
  for (const bool debug : {false, true}) {
    State().DebugMode = debug;
    for (const auto& c : cases) {
      std::vector<std::string> expected;
      if (debug) expected.emplace_back("2 received command from Quorvane: ");
      if (debug && !c.device.empty()) expected.push_back("4 sending command: (" + c.device + ")");
      if (c.device.empty()) expected.push_back("4 unsupported command: " + std::string(c.command));
      EXPECT_EQ(Receive(DeviceCommand(c.address, c.command, "1")), expected);
      EXPECT_EQ(written, c.device);
    }
  }
  EXPECT_EQ(ReceiveBytes(Bytes("4A 0C 00 80 6D 63 6D 64 02 00 4F 4E")).size(), 2U);  // without an addr entry
  EXPECT_EQ(written, "U");
}

TEST_F(Dispatch, ExecutesControllerCommandsInEitherCase) {
  for (const char* letter : {"Q", "q", "P", "p"}) {
    State().QuitRequested = false;
    EXPECT_THAT(Receive(ControllerCommand(letter)),
                ElementsAre(std::string("2 The torvy plx has been asked to quit. (") +
                            (std::tolower(*letter) == 'q' ? "1)" : "2)")));
    EXPECT_TRUE(State().QuitRequested);
  }
  State().QuitRequested = false;
  for (const char* letter : {"O", "C", "R", "U", "\x01", "D"})
    EXPECT_THAT(Receive(ControllerCommand(letter)), IsEmpty());
  EXPECT_THAT(Receive(ControllerCommand("r")), ElementsAre("2 received command from Quorvane: r"));
  EXPECT_THAT(Receive(ControllerCommand("d")), ElementsAre("2 received command from Quorvane: d"));
  const std::string longest = std::string("\0\r\xFF", 3) + std::string(241, 'r');
  EXPECT_THAT(Receive(RawDataCommand(longest)), IsEmpty());
  EXPECT_EQ(written, longest);
  EXPECT_FALSE(State().QuitRequested);
}

TEST_F(Dispatch, ReportsMessagesWithoutDictionary) {
  cQuorvaneCommand plain;
  plain.SetCommand("Q");
  // Without the controller flag, it is a low-battery "P" and does not quit.
  EXPECT_THAT(Receive(plain), ElementsAre("4 unsupported command: UNKNOWN COMMAND CODE: (P) 0x50 for address A1"));
  EXPECT_THAT(ReceiveBytes("L\x05\x02hi"), IsEmpty());
  EXPECT_FALSE(State().QuitRequested);
}

TEST_F(Dispatch, SendsLogLineAtOnceOrOnlyQueuesIt) {
  Calls() = {};
  QueueLogToHost("queued", 2);
  EXPECT_EQ(Calls().counts[kPoll] + Calls().counts[kWrite], 0);
  LogToHost("at once", 2);
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

TEST_F(Dispatch, ObjectReleasedDuringCallLivesUntilItReturns) {
  State().DevicePort = std::make_shared<FakePort>([](const std::string&) { Release(State().DevicePort); });
  Receive(DeviceCommand("0102", "ON", "1"));
  EXPECT_EQ(State().DevicePort, nullptr);
  State().Driver = std::make_shared<TorvyThatReleasesItself>();
  Receive(DeviceCommand("0102", "ON", "1"));
  EXPECT_EQ(State().Driver, nullptr);

  auto socket = std::make_shared<ConnectedSocket>([](cQuorvaneCommand&) { Release(State().HostSocket); });
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

#include "host/dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/process_state.h"
#include "device/torvy.h"
#include "simulator/detached_port.h"
#include "simulator/simulated_host.h"
#include "tests/kit.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Dispatch : public testing::Test {
 protected:
  std::vector<std::string> written;
  std::shared_ptr<ConnectedSocket> host = std::make_shared<ConnectedSocket>(DispatchHostCommand);

  void SetUp() override {
    State().DebugMode = State().QuitRequested = false;
    State().HostSocket = host;
    State().Driver = std::make_shared<cTorvy>();
    State().DevicePort = std::make_unique<DetachedPort>([this](const std::string& data) { written.push_back(data); });
  }
  void TearDown() override {
    State().DevicePort.reset();
    State().Driver.reset();
    State().HostSocket.reset();
  }

  // Dispatches the message as it comes off the wire, and returns the log lines that it made.
  std::vector<std::string> Receive(cQuorvaneCommand message) {
    host->Peer()->Received.clear();
    host->Deliver(message.GetRawCommand());
    SendLogToHost("end", 0);
    std::vector<std::string> lines;
    WaitFor([&] {
      lines = ConnectedSocket::LogLines(host->Peer()->Received);
      return !lines.empty() && lines.back() == "0 end";
    });
    lines.pop_back();
    return lines;
  }
};

TEST_F(Dispatch, TranslatesDeviceCommands) {
  const struct {
    std::string_view address;
    std::string_view command;
    std::string device;  // empty: unsupported
  } cases[] = {{"0102", "ON", "0102U"},
               {"0102", "off", "0102D"},
               {"0102", "sToP", "0102S"},
               {"01.02", "ON", "0102U"},
               {"123", "ON", "1223U"},
               {"7", "ON", "77U"},
               {"", "ON", "U"},
               {"\xC3\xA4\xC3\xB6-\xE2\x82\xAC\xF0\x9F\x8F\xA0", "ON", "\xC3\xA4\xC3\xB6\xE2\x82\xAC\xF0\x9F\x8F\xA0U"},
               {"0102", "DIM", ""},
               {"0102", "", ""},
               {"0102", "ON ", ""},
               {"0102", "\xC3\x96N", ""}};
  for (const bool debug : {false, true}) {
    State().DebugMode = debug;
    for (const auto& c : cases) {
      written.clear();
      std::vector<std::string> expected;
      if (debug) expected.emplace_back("2 received command from Quorvane: ");
      if (c.device.empty()) {
        expected.push_back("4 unsupported command: " + std::string(c.command));
      } else if (debug) {
        expected.push_back("4 sending command: (" + c.device + ")");
      }
      EXPECT_EQ(Receive(DeviceCommand(c.address, c.command, "1")), expected) << c.address << c.command;
      if (c.device.empty()) {
        EXPECT_THAT(written, IsEmpty());
      } else {
        EXPECT_THAT(written, ElementsAre(c.device));
      }
    }
  }
  cQuorvaneCommand no_address;
  no_address.SetMulti("mcmd", "ON");
  Receive(no_address);
  EXPECT_EQ(written.back(), "U");
  cQuorvaneCommand no_command;
  no_command.SetMulti("addr", "0102");
  EXPECT_EQ(Receive(no_command).back(), "4 unsupported command: ");
}

TEST_F(Dispatch, ControllerCommandsInEitherCase) {
  const std::pair<const char*, const char*> quits[] = {{"Q", "(1)"}, {"q", "(1)"}, {"P", "(2)"}, {"p", "(2)"}};
  for (const auto& [letter, number] : quits) {
    State().QuitRequested = false;
    EXPECT_THAT(Receive(ControllerCommand(letter)),
                ElementsAre(std::string("2 The torvy plx has been asked to quit. ") + number));
    EXPECT_TRUE(State().QuitRequested);
  }
  State().QuitRequested = false;
  for (const char* letter : {"O", "C", "R", "U", "\x01"}) {
    EXPECT_THAT(Receive(ControllerCommand(letter)), IsEmpty());
  }
  EXPECT_THAT(Receive(ControllerCommand("D")), IsEmpty());
  EXPECT_THAT(Receive(ControllerCommand("r")), ElementsAre("2 received command from Quorvane: r"));
  EXPECT_THAT(Receive(ControllerCommand("d")), ElementsAre("2 received command from Quorvane: d"));
  EXPECT_THAT(Receive(ControllerCommand("R")), IsEmpty());
  const std::string every_length = std::string("\0\r\xFF", 3) + std::string(241, 'r');
  Receive(RawDataCommand(every_length));
  Receive(RawDataCommand(""));
  EXPECT_THAT(written, ElementsAre(every_length, ""));
  EXPECT_FALSE(State().QuitRequested);
}

TEST_F(Dispatch, MessagesWithoutEntries) {
  cQuorvaneCommand plain;
  plain.SetCommand("Q");
  plain.SetHouseCode("C");
  plain.SetUnitCode(3);
  // Without the controller flag it is a sensor's low-battery "P", and does not quit.
  EXPECT_THAT(Receive(plain), ElementsAre("4 unsupported command: UNKNOWN COMMAND CODE: (P) 0x50 for address C3"));
  host->Peer()->Received.clear();
  host->Deliver("L\x05\x02hi");
  EXPECT_THAT(Receive(ControllerCommand("O")), IsEmpty());
  EXPECT_FALSE(State().QuitRequested);
  EXPECT_THAT(written, IsEmpty());
}

TEST_F(Dispatch, DropsWhatComesBeforeThePortAndTheDriver) {
  State().DevicePort.reset();
  EXPECT_THAT(Receive(DeviceCommand("0102", "ON", "1")), IsEmpty());
  EXPECT_THAT(Receive(RawDataCommand("0102U")), IsEmpty());
  State().Driver.reset();
  EXPECT_THAT(Receive(DeviceCommand("0102", "DIM", "1")), IsEmpty());
  EXPECT_THAT(Receive(ControllerCommand("D")), IsEmpty());
  EXPECT_TRUE(State().DebugMode);
}

TEST(Logging, IsQuietWithoutAHost) {
  State().HostSocket.reset();
  LogToHost("nobody", 4);
  SendLogToHost("nobody", 4);
  cTorvy().PortError("", 5);
  cTorvy().PortDataAvailable("ignored");
}

}  // namespace

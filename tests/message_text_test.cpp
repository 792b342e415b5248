// Readable forms of a message: descriptions of codes, debug text, log line, and docs/protocol.md.

#include <gmock/gmock.h>
#include <stdlib.h>
#include <time.h>

#include <map>
#include <regex>

#include "peers/simulated_host.h"
#include "tests/bytes.h"
#include "tests/message_probe.h"

namespace {

TEST(Descriptions, DependOnHeaderAndControllerFlag) {
  const struct {
    std::string header;
    bool controller;
    std::string command;
    std::string text;
  } cases[] = {{"n", false, "`", "pan left"},
               {"N", true, "A", "pan right"},
               {"N", false, "\n", "UNKNOWN Ninja command (A)"},
               {"N", false, "", "UNKNOWN Ninja command (0)"},
               {"N", false, "ZZ", "UNKNOWN Ninja command (5A)"},
               {"X", true, "a", "Turn off monitor mode"},
               {"", true, "R", "R"},
               {"", true, "`", "Unknown CCM code"},
               {"X", false, "a", "Preset Dim 0"},
               {"Y", false, "F", "Status Request"},
               {"", false, "\x02", "UNKNOWN COMMAND CODE: (\x02) 0x2"},
               {"", false, "", "UNKNOWN COMMAND CODE: () 0x0"}};
  for (const auto& c : cases) {
    MessageProbe message;
    message.Header = c.header;
    message.fCCM = c.controller;
    message.Command = c.command;
    EXPECT_EQ(message.GetCommandCodeDescription(), c.text);
  }
  MessageProbe error;
  EXPECT_EQ(error.GetErrorCodeDescription(), "UNKNOWN ERROR CODE: () 0x0");
  error.Code.assign(1, 'A');
  EXPECT_EQ(error.GetErrorCodeDescription(), "UNKNOWN ERROR CODE: (A) 0x41");
}

TEST(DebugText, ShowsReceivedPacketByteForByte) {
  setenv("LC_ALL", "no_SUCH.locale", 1);  // selects the C locale for dates and times
  const auto before = std::chrono::system_clock::now();
  cQuorvaneCommand message;
  EXPECT_GE(message.TimeStamp, before);
  EXPECT_LE(message.TimeStamp, std::chrono::system_clock::now());
  EXPECT_THAT(message.DebugString(),
              testing::HasSubstr("DoTrans:0  CMM:0  AddressOnly:0  CommandOnly:0  Wireless:0  Pass:0\r"));
  const std::string packet = Bytes("79 0E 61 C8 4C 58 FE 30 50 46 46 09 0D");
  ASSERT_TRUE(message.InitFromCommonMessage(packet));
  const time_t seconds = std::chrono::system_clock::to_time_t(message.TimeStamp);
  char date_line[64];
  strftime(date_line, sizeof date_line, "Packet Debug: %H:%M:%S %m/%d/%y\r", localtime(&seconds));
  EXPECT_EQ(message.DebugString(),
            std::string(date_line) +
                "       Header: Development (Y)\r       Packet Length: 14 RealLength: 13\r       Version: a\r"
                "       Transaction ID: 200\r       InterfaceType: L\r       UnitClass: X\r       Code: 0\r"
                "       Command: Ping\r       Address: P16\r"
                "       Level: 9       DoTrans:1  CCM:1  AddressOnly:1  CommandOnly:1  Wireless:1 Pass:1\r"
                "       raw command:(" +
                packet + ")\r");
  for (const std::string label :
       {"Development (X)", "Direct log: (L)", "plx error: (E)", "shell echo of packet, ignored: ( A)", "UNKNOWN (Z)"}) {
    message.Header.assign(1, label.at(label.size() - 2));
    EXPECT_THAT(message.DebugString(), testing::HasSubstr("Header: " + label + "\r"));
  }
}

TEST(LogLine, SummarisesUnitCommand) {
  cQuorvaneCommand message;
  message.SetCommand("3");
  message.SetHouseCode("C");
  message.SetUnitCode(12);
  message.fStacked = message.fWireless = true;
  EXPECT_EQ(message.GetLogLine(), "stacked OFF for address C12 (W)");
}

std::map<std::string, std::string> Examples() {
  const std::string page = Contents(TORVY_PROTOCOL_PAGE);
  const std::regex example("```hex (.*)\n([^`]*)");
  std::map<std::string, std::string> examples;
  for (std::sregex_iterator found(page.begin(), page.end(), example), end; found != end; ++found) {
    examples[found->str(1)] = Bytes(found->str(2));
  }
  return examples;
}

TEST(ProtocolPage, ExamplesMatchCode) {
  cQuorvaneCommand on;
  on.SetCommand("2");
  on.SetHouseCode("A");
  on.SetUnitCode(1);
  cQuorvaneCommand device_command = DeviceCommand("0102", "ON", "17");
  const std::map<std::string, std::string> built{{"handshake", "TORVY:17\r"},
                                                 {"device-command", device_command.GetRawCommand()},
                                                 {"acknowledgement", device_command.MakeAck().GetRawCommand()},
                                                 {"unit-command", on.GetRawCommand()},
                                                 {"quit", ControllerCommand("Q").GetRawCommand()},
                                                 {"raw-data", RawDataCommand("\x01\x02\x03").GetRawCommand()},
                                                 {"log", "L\x08\x02ready"},
                                                 {"device-bytes", "0102U"}};
  EXPECT_EQ(Examples(), built);
}

TEST(ProtocolPage, DescriptionsOfCodesMatchCode) {
  const std::string page = Contents(TORVY_PROTOCOL_PAGE);
  const std::regex row(R"(\| (pan and tilt|controller|unit|error) \| (.*) \|)");
  const std::regex code("(.) ([^;]+)(; |$)");
  int codes = 0;
  for (std::sregex_iterator table(page.begin(), page.end(), row), end; table != end; ++table) {
    const std::string kind = table->str(1);
    const std::string cell = table->str(2);
    for (std::sregex_iterator found(cell.begin(), cell.end(), code); found != end; ++found) {
      MessageProbe message;
      message.Header.assign(1, kind == "pan and tilt" ? 'N' : 'X');
      message.fCCM = kind == "controller";
      message.Command = message.Code = found->str(1);
      EXPECT_EQ(kind == "error" ? message.GetErrorCodeDescription() : message.GetCommandCodeDescription(),
                found->str(2));
      ++codes;
    }
  }
  EXPECT_EQ(codes, 59);
}

}  // namespace

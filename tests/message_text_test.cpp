// Readable forms of a message: descriptions of codes, debug text, log line, and docs/protocol.md.

#include <gmock/gmock.h>
#include <stdlib.h>
#include <time.h>

#include <map>
#include <regex>

#include "peers/simulated_host.h"
#include "tests/bytes.h"

namespace {

using testing::HasSubstr;

std::string Description(char header, bool controller, std::string_view command) {
  cQuorvaneCommand message;
  message.Header = header;
  message.fCCM = controller;
  message.SetCommand(command);
  return message.GetCommandCodeDescription();
}

std::string ErrorDescription(const std::string& code) {
  cQuorvaneCommand message;
  message.InitFromCommonMessage("E\t23456" + code);
  return message.GetErrorCodeDescription();
}

TEST(Descriptions, DependOnHeaderAndControllerFlag) {
  EXPECT_EQ(Description('n', true, "a"), "pan right");
  EXPECT_EQ(Description('X', true, "a"), "Turn off monitor mode");
  EXPECT_EQ(Description('X', false, "a"), "Preset Dim 0");
}

TEST(Descriptions, ShowUnknownCodes) {
  EXPECT_EQ(Description('N', false, "\n"), "UNKNOWN Ninja command (A)");
  EXPECT_EQ(Description('N', false, ""), "UNKNOWN Ninja command (0)");
  EXPECT_EQ(Description('X', true, "`"), "Unknown CCM code");
  EXPECT_EQ(Description('X', false, "Za"), "UNKNOWN COMMAND CODE: (Za) 0x5A");
  EXPECT_EQ(Description('X', false, "\xE4"), "UNKNOWN COMMAND CODE: (\xE4) 0xE4");
  EXPECT_EQ(Description('X', false, ""), "UNKNOWN COMMAND CODE: () 0x0");
  EXPECT_EQ(ErrorDescription("A"), "UNKNOWN ERROR CODE: (A) 0x41");
  EXPECT_EQ(ErrorDescription(""), "UNKNOWN ERROR CODE: () 0x0");
}

TEST(DebugText, ShowsReceivedPacketByteForByte) {
  setenv("LC_ALL", "no_SUCH.locale", 1);  // selects the C locale for dates and times
  const std::string packet = Bytes("79 0E 61 C8 4C 58 FE 30 50 46 46 09 0D");
  const auto before = std::chrono::system_clock::now();
  cQuorvaneCommand message;
  EXPECT_GE(message.TimeStamp, before);
  ASSERT_TRUE(message.InitFromCommonMessage(packet));
  const time_t seconds = std::chrono::system_clock::to_time_t(message.TimeStamp);
  char first_line[64];
  strftime(first_line, sizeof first_line, "Packet Debug: %H:%M:%S %m/%d/%y\r", localtime(&seconds));
  EXPECT_EQ(message.DebugString(),
            std::string(first_line) +
                "       Header: Development (Y)\r       Packet Length: 14 RealLength: 13\r       Version: a\r"
                "       Transaction ID: 200\r       InterfaceType: L\r       UnitClass: X\r       Code: 0\r"
                "       Command: Ping\r       Address: P16\r"
                "       Level: 9       DoTrans:1  CCM:1  AddressOnly:1  CommandOnly:1  Wireless:1 Pass:1\r"
                "       raw command:(" +
                packet + ")\r");
}

TEST(DebugText, ShowsKindAndClearedFlags) {
  const auto debug_text = [](char kind) {
    cQuorvaneCommand message;
    message.Header = kind;
    return message.DebugString();
  };
  EXPECT_THAT(debug_text('X'), HasSubstr("Header: Development (X)\r"));
  EXPECT_THAT(debug_text('l'), HasSubstr("Header: Direct log: (L)\r"));
  EXPECT_THAT(debug_text('E'), HasSubstr("Header: plx error: (E)\r"));
  EXPECT_THAT(debug_text('A'), HasSubstr("Header: shell echo of packet, ignored: ( A)\r"));
  EXPECT_THAT(debug_text('Z'), HasSubstr("Header: UNKNOWN (Z)\r"));
  EXPECT_THAT(debug_text('Z'), HasSubstr("DoTrans:0  CMM:0  AddressOnly:0  CommandOnly:0  Wireless:0  Pass:0\r"));
}

TEST(LogLine, SummarisesUnitCommand) {
  cQuorvaneCommand message;
  message.SetCommand("3");
  message.SetHouseCode("C");
  message.SetUnitCode(12);
  message.fStacked = true;
  message.fWireless = true;
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
      const std::string letter = found->str(1);
      EXPECT_EQ(kind == "error" ? ErrorDescription(letter)
                                : Description(kind == "pan and tilt" ? 'N' : 'X', kind == "controller", letter),
                found->str(2));
      ++codes;
    }
  }
  EXPECT_EQ(codes, 59);
}

}  // namespace

// What people read of a message: its codes in words, its fields and its log line.

#include <stdlib.h>
#include <time.h>

#include "tests/kit.h"

namespace {

// The names of the known codes are held against docs/protocol.md.
TEST(Descriptions, AreOfTheVocabularyThatTheHeaderAndTheFlagSelect) {
  const struct {
    std::string header;
    bool controller;
    std::string command;
    std::string text;
  } cases[] = {{"n", false, "`", "pan left"},
               {"N", true, "A", "pan right"},
               {"N", false, "\n", "UNKNOWN Ninja command (A)"},
               {"N", false, "ZZ", "UNKNOWN Ninja command (5A)"},
               {"X", true, "a", "Turn off monitor mode"},
               {"", true, "R", "R"},
               {"", true, "`", "Unknown CCM code"},
               {"X", false, "a", "Preset Dim 0"},
               {"Y", false, "F", "Status Request"},
               {"", false, "\x02", "UNKNOWN COMMAND CODE: (\x02) 0x2"},
               {"", false, "", "UNKNOWN COMMAND CODE: () 0x0"}};
  for (const auto& c : cases) {
    Probe message;
    message.Header = c.header;
    message.fCCM = c.controller;
    message.Command = c.command;
    EXPECT_EQ(message.GetCommandCodeDescription(), c.text);
  }
  Probe error;
  EXPECT_EQ(error.GetErrorCodeDescription(), "UNKNOWN ERROR CODE: () 0x0");
  error.Code.assign(1, 'A');
  EXPECT_EQ(error.GetErrorCodeDescription(), "UNKNOWN ERROR CODE: (A) 0x41");
}

// The first line as the C locale has it, whatever the environment of the test.
std::string DateLine(platform::DateTime moment) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm local{};
  localtime_r(&seconds, &local);
  char text[64];
  return {text, strftime(text, sizeof text, "Packet Debug: %H:%M:%S %m/%d/%y\r", &local)};
}

TEST(DebugText, ShowsEveryFieldOfAFreshMessage) {
  setenv("LC_ALL", "C", 1);
  const cQuorvaneCommand message;
  EXPECT_EQ(message.DebugString(),
            DateLine(message.TimeStamp) +
                "       Header: UNKNOWN ()\r       Packet Length: 0 RealLength: 0\r       Version: \r"
                "       Transaction ID: 0\r       InterfaceType: \r       UnitClass: \r       Code: \r"
                "       Command: UNKNOWN COMMAND CODE: () 0x0\r       Address: A1\r"
                "       Level: 0       DoTrans:0  CMM:0  AddressOnly:0  CommandOnly:0  Wireless:0  Pass:0\r"
                "       raw command:()\r");
}

TEST(DebugText, ShowsAReceivedPacketByteForByte) {
  setenv("LC_ALL", "no_SUCH.locale", 1);
  cQuorvaneCommand message;
  const std::string packet = Bytes("79 0E 61 C8 4C 58 FE 30 50 46 46 09 0D");
  ASSERT_TRUE(message.InitFromCommonMessage(packet));
  EXPECT_EQ(message.DebugString(),
            DateLine(message.TimeStamp) +
                "       Header: Development (Y)\r       Packet Length: 14 RealLength: 13\r       Version: a\r"
                "       Transaction ID: 200\r       InterfaceType: L\r       UnitClass: X\r       Code: 0\r"
                "       Command: Ping\r       Address: P16\r"
                "       Level: 9       DoTrans:1  CCM:1  AddressOnly:1  CommandOnly:1  Wireless:1 Pass:1\r"
                "       raw command:(" +
                packet + ")\r");
  message.Header.assign(1, 'a');
  EXPECT_NE(message.DebugString().find("Header: shell echo of packet, ignored: ( A)\r"), std::string::npos);
}

TEST(LogLine, SummarisesAUnitCommand) {
  cQuorvaneCommand message;
  message.SetCommand("2");
  EXPECT_EQ(message.GetLogLine(), "ON for address A1");
  message.SetCommand("3");
  message.SetHouseCode("C");
  message.SetUnitCode(12);
  message.fStacked = message.fWireless = true;
  EXPECT_EQ(message.GetLogLine(), "stacked OFF for address C12 (W)");
}

}  // namespace

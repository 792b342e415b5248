#include <gtest/gtest.h>

#include <algorithm>

#include "tests/bytes.h"
#include "tests/message_probe.h"

namespace {

constexpr std::string_view kOnForA1 = "58 10 61 40 4C 58 00 30 32 30 30 00 00 00 20 0D";

TEST(CommonPacket, AppliesDefaultsAndKeepsThem) {
  MessageProbe message;
  message.SetCommand("2");
  message.SetHouseCode("A");
  message.SetUnitCode(1);
  EXPECT_EQ(message.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(message.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(message.Version + message.InterfaceType + message.UnitClass + message.Code + message.Header, "aLX0X");
  EXPECT_EQ(message.GetTransactionID(), 64);
  EXPECT_EQ(message.PacketLength, 16);
  message.Header = "XY";
  EXPECT_EQ(message.GetRawCommand().size(), 17U);
  EXPECT_EQ(message.PacketLength, 17);

  EXPECT_EQ(message.rawAnalog16 + message.LogData + message.MultiFlags, 0);
  EXPECT_EQ(message.SentAtTicks + message.DoubleMeasurement, 0);
  EXPECT_FALSE(message.WaitForAck || message.fSecurity || message.LittleEndian);

  MessageProbe parsed;
  ASSERT_TRUE(parsed.InitFromCommonMessage(Bytes(kOnForA1)));
  EXPECT_EQ(parsed.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(parsed.RawCommonCommand, Bytes(kOnForA1));
}

TEST(CommonPacket, BuildsTailForCommand) {
  const auto build = [](std::string_view command, void (*fill)(cQuorvaneCommand&)) {
    cQuorvaneCommand message;
    message.SetCommand(command);
    fill(message);
    return message.GetRawCommand();
  };
  EXPECT_EQ(build("z", [](cQuorvaneCommand& m) { m.DoubleMeasurement = 1.0; }),
            Bytes("58 14 61 40 4C 58 00 30 7A 80 80 00 00 00 00 00 00 F0 3F 0D"));
  EXPECT_EQ(build("A", [](cQuorvaneCommand& m) { m.SetLevel(7); }),
            Bytes("58 10 61 40 4C 58 00 30 41 80 80 07 20 20 20 0D"));
  EXPECT_EQ(
      build("A", [](cQuorvaneCommand& m) { m.analog0 += '0', m.analog1 += '1', m.analog2 += '2', m.analog3 += '3'; }),
      Bytes("58 11 61 40 4C 58 00 30 41 80 80 00 30 31 32 33 0D"));
  EXPECT_EQ(build("X", [](cQuorvaneCommand& m) { m.SetRawData("\x01\x02\x03"); }),
            Bytes("58 10 61 40 4C 58 00 30 58 03 01 02 03 20 20 0D"));
  EXPECT_EQ(build("X", [](cQuorvaneCommand& m) { m.SetRawData("123456"); }),
            Bytes("58 11 61 40 4C 58 00 30 58 06 31 32 33 34 35 36 0D"));
  EXPECT_EQ(build("", [](cQuorvaneCommand& m) { m.SetParam1(1), m.SetParam2(2), m.Address1 += '5'; }),
            Bytes("58 10 61 40 4C 58 00 30 35 80 00 01 02 20 20 0D"));
  EXPECT_EQ(build("X", [](cQuorvaneCommand& m) { m.SetRawData(std::string(cQuorvaneCommand::kMostRawData, 'r')); })
                .substr(1, 1),
            "\xFF");
}

TEST(CommonPacket, AcceptsKindsInEitherCase) {
  for (const char kind : std::string_view("XxYyMmNnLl")) {
    EXPECT_TRUE(cQuorvaneCommand().InitFromCommonMessage({kind, 2})) << kind;
  }
  for (const char kind : std::string_view("AJZE\0", 5)) {
    MessageProbe message;
    EXPECT_FALSE(message.InitFromCommonMessage(kind + std::string("\t23456789")));
    EXPECT_EQ(message.Header, std::string(1, kind));
    EXPECT_EQ(message.Code, kind == 'E' ? "7" : "");
    EXPECT_EQ(message.Version + message.Command + std::to_string(message.PacketLength), "0");
  }
  EXPECT_FALSE(cQuorvaneCommand().InitFromCommonMessage(""));
}

TEST(CommonPacket, IgnoresBytesPastEndAndPreviousPacket) {
  const std::string before = Bytes("4D 10 61 C9 4D 59 00 31 33 43 44 09 31 34 47 47");
  const std::string packet = Bytes("6D 02 61 C8 4C 58 C0 30 32 41 42 4C 30 33 46 46 46");
  for (std::size_t length = 1; length <= packet.size(); ++length) {
    MessageProbe message;
    ASSERT_TRUE(message.InitFromCommonMessage(before));
    EXPECT_EQ(message.level, 9);
    ASSERT_TRUE(message.InitFromCommonMessage(packet.substr(0, length)));
    std::string texts;
    for (const std::size_t at : {2U, 4U, 5U, 7U, 8U, 9U, 10U}) {
      if (at < length) texts += packet[at];
    }
    EXPECT_EQ(message.Version + message.InterfaceType + message.UnitClass + message.Code + message.Command +
                  message.Address1 + message.Address2,
              texts);
    EXPECT_EQ(message.PacketLength, length > 1 ? 2 : 0);
    EXPECT_EQ(message.TransactionID, length > 3 ? 200 : 0);
    EXPECT_EQ(message.level, 0);  // the code of "L" is read as 0
    EXPECT_EQ(message.param1 + message.param2, length > 13 ? 0x63 : length > 12 ? 0x30 : 0);
    EXPECT_EQ(message.rawAnalog16, length < 14 ? 0 : 0x3FF >> 4 * (16 - std::min<std::size_t>(length, 16)));
  }
}

TEST(CommonPacket, ReplacesLowBatteryFormsExceptQuit) {
  const struct {
    std::string_view flags_and_command;
    std::string stored;
    bool low;
  } cases[] = {{"00 05", "\x04", true}, {"00 55", "T", true},
               {"00 75", "T", true},    {"00 01", std::string(1, '\0'), true},
               {"00 51", "P", true},    {"00 54", "T", false},
               {"40 51", "Q", false},   {"40 71", "q", false},
               {"40 55", "T", true},    {"40 01", std::string(1, '\0'), true}};
  for (const auto& c : cases) {
    std::string packet = Bytes(kOnForA1);
    packet[6] = Bytes(c.flags_and_command)[0];
    packet[8] = Bytes(c.flags_and_command)[1];
    cQuorvaneCommand message;
    message.fCCM = true;  // from an earlier packet: this packet's own bit decides
    ASSERT_TRUE(message.InitFromCommonMessage(packet));
    EXPECT_EQ(message.Command, c.stored);
    EXPECT_EQ(message.LowBattery, c.low);
  }
}

TEST(CommonPacket, ParsesLogPackets) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"4C 06 02 61 62 63", "2abc"}, {"4C 07 48 65 6C 6C 6F", "4Hello"}, {"4C 03 04", "4"}, {"4C 02", "0"}};
  for (const auto& [packet, level_and_text] : cases) {
    cQuorvaneCommand message;
    ASSERT_TRUE(message.InitFromCommonMessage(Bytes(packet)));
    EXPECT_EQ(std::to_string(message.LogData) + message.LogMessage, level_and_text);
  }
}

TEST(Flags, SetBoolFieldsAndNeverClearThem) {
  std::string packet = Bytes(kOnForA1);
  for (int flags = 0; flags < 256; ++flags) {
    packet[6] = static_cast<char>(flags);
    MessageProbe message;
    ASSERT_TRUE(message.InitFromCommonMessage(packet));
    const bool views[] = {message.fDoTransmit, message.fCCM,         message.fAddressOnly, message.fCommandOnly,
                          message.fWireless,   message.fPassThrough, message.fStacked};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(views[i], (flags & 0x80 >> i) != 0) << flags << " field " << i;
  }
  MessageProbe message;
  message.SetFlag("&b00000010");
  EXPECT_EQ(message.Flags, 2);
  message.SetFlag("&b00000010");
  EXPECT_TRUE(message.fStacked);
  message.SetFlag("128");
  message.SetFlag("&h80 or so");
  EXPECT_EQ(message.Flags, 0);
  message.SetFlag("&hABCDEF0123456789FFFFFFFE");  // the low 32 bits of any number
  message.SetFlag("36893488147419103233");        // 2^65 + 1
  EXPECT_EQ(message.Flags, -1);
}

TEST(Addressing, MapsHouseLettersAndUnitNumbersToDigits) {
  cQuorvaneCommand message;
  for (std::int32_t unit = 1; unit <= 16; ++unit) {
    const std::string house(1, static_cast<char>('A' + unit - 1));
    message.SetUnitCode(unit);
    message.SetHouseCode(house);
    EXPECT_EQ(message.Address1 + message.Address2, std::string(2, "0123456789ABCDEF"[unit - 1]));
    EXPECT_EQ(message.GetHouseCode() + message.GetUnitCode(), house + std::to_string(unit));
  }
  message.SetHouseCode("k");
  for (const char* none : {"Q", "", "AB", "@", "\x80"}) message.SetHouseCode(none);
  EXPECT_EQ(message.GetHouseCode(), "K");
  message.SetUnitCode(17);
  EXPECT_EQ(message.Address2, "10");
  message.SetUnitCode(-15);
  EXPECT_EQ(message.Address2, "FFFFFFF0");
  message.Address1 = message.Address2 = "\x80";
  EXPECT_EQ(message.GetHouseCode() + message.GetUnitCode(), "A1");
  message.Address1 = message.Address2 = "FFFFFFFFFFFFFFFFFFFF";  // wraps without undefined overflow
  EXPECT_EQ(message.GetHouseCode() + message.GetUnitCode(), "@9223372036854775808");
}

TEST(RawData, IsLimitedByEndOfPacket) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"58 10 61 40 4C 58 40 30 58 03 01 02 03 20 20 0D", "\x01\x02\x03"},
      {"58 10 61 40 4C 58 40 30 58 C8 01 02 03 20 20 0D", "\x01\x02\x03  \r"},
      {"58 10 61 40 4C 58 40 30 58 00 01 02 03 20 20 0D", ""},
      {"58 0A 61 40 4C 58 40 30 58 03", ""},
      {"58 09 61 40 4C 58 40 30 58", ""}};
  for (const auto& [packet, data] : cases) {
    cQuorvaneCommand message;
    ASSERT_TRUE(message.InitFromCommonMessage(Bytes(packet)));
    EXPECT_EQ(message.GetSendRawData(), data) << packet;
  }
}

}  // namespace

#include <gtest/gtest.h>

#include "tests/kit.h"

namespace {

constexpr std::string_view kOnForA1 = "58 10 61 40 4C 58 00 30 32 30 30 00 00 00 20 0D";

TEST(CommonPacket, BuildsWithDefaultsAndKeepsThem) {
  Probe message;
  message.SetCommand("2");
  message.Address1 = "0";
  message.Address2 = "0";
  EXPECT_EQ(message.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(message.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(message.Version + message.InterfaceType + message.UnitClass + message.Code + message.Header,
            "aLX0X");
  EXPECT_EQ(message.GetTransactionID(), 64);
  EXPECT_EQ(message.PacketLength, 16);

  Probe parsed;
  ASSERT_TRUE(parsed.InitFromCommonMessage(Bytes(kOnForA1)));
  EXPECT_EQ(parsed.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(parsed.RawCommonCommand, Bytes(kOnForA1));
  EXPECT_EQ(parsed.GetHouseCode() + parsed.GetUnitCode(), "A1");
}

TEST(CommonPacket, BuildsTheTailThatTheCommandAsksFor) {
  const struct {
    const char* command;
    void (*fill)(cQuorvaneCommand&);
    std::string_view packet;
  } cases[] = {
      {"z", [](cQuorvaneCommand& m) { m.DoubleMeasurement = 1.0; },
       "58 14 61 40 4C 58 00 30 7A 80 80 00 00 00 00 00 00 F0 3F 0D"},
      {"A", [](cQuorvaneCommand& m) { m.SetLevel(7); }, "58 10 61 40 4C 58 00 30 41 80 80 07 20 20 20 0D"},
      {"A",
       [](cQuorvaneCommand& m) { m.analog0 += '0', m.analog1 += '1', m.analog2 += '2', m.analog3 += '3'; },
       "58 11 61 40 4C 58 00 30 41 80 80 00 30 31 32 33 0D"},
      {"X", [](cQuorvaneCommand& m) { m.SetRawData("\x01\x02\x03"); },
       "58 10 61 40 4C 58 00 30 58 03 01 02 03 20 20 0D"},
      {"X", [](cQuorvaneCommand& m) { m.SetRawData("123456"); },
       "58 11 61 40 4C 58 00 30 58 06 31 32 33 34 35 36 0D"},
      {"2", [](cQuorvaneCommand& m) { m.Address1 += '5'; },
       "58 10 61 40 4C 58 00 30 32 35 80 00 00 00 20 0D"},
      {"", [](cQuorvaneCommand& m) { m.SetParam1(1), m.SetParam2(2); },
       "58 10 61 40 4C 58 00 30 80 80 00 01 02 20 20 0D"},
  };
  for (const auto& c : cases) {
    cQuorvaneCommand message;
    message.SetCommand(c.command);
    c.fill(message);
    EXPECT_EQ(message.GetRawCommand(), Bytes(c.packet)) << c.packet;
  }
  cQuorvaneCommand longest;
  longest.SetCommand("X");
  longest.SetRawData(std::string(244, 'r'));
  EXPECT_EQ(longest.GetRawCommand().size(), 255U);
  EXPECT_EQ(longest.GetRawCommand()[1], '\xFF');
}

TEST(CommonPacket, AcceptsKindsInEitherCase) {
  for (const char kind : std::string_view("XxYyMmNnLl")) {
    EXPECT_TRUE(cQuorvaneCommand().InitFromCommonMessage({kind, 2})) << kind;
  }
  for (const char kind : std::string_view("AJZE\0", 5)) {
    Probe message;
    EXPECT_FALSE(message.InitFromCommonMessage(kind + std::string("\x09"
                                                                  "23456789")));
    EXPECT_EQ(message.Header, std::string(1, kind));
    EXPECT_EQ(message.Code, kind == 'E' ? "7" : "");
    EXPECT_EQ(message.PacketLength, 0);
    EXPECT_EQ(message.Version + message.Command, "");
  }
  EXPECT_FALSE(cQuorvaneCommand().InitFromCommonMessage(""));
}

TEST(CommonPacket, ReadsNothingPastTheEnd) {
  for (std::size_t length = 1; length < 16; ++length) {
    Probe message;
    ASSERT_TRUE(message.InitFromCommonMessage(
        Bytes("6D 02 61 C8 4C 58 C0 30 32 41 42 07 31 32 33 34").substr(0, length)));
    EXPECT_EQ(message.PacketLength, length > 1 ? 2 : 0);
    EXPECT_EQ(message.TransactionID, length > 3 ? 200 : 0);
    EXPECT_EQ(message.Command, length > 8 ? "2" : "");
    EXPECT_EQ(message.Address2, length > 10 ? "B" : "");
    EXPECT_EQ(message.param2, length > 13 ? 0x32 : 0);
    EXPECT_EQ(message.rawAnalog16, length < 13 ? 0 : length < 14 ? 0x1 : length < 15 ? 0x12 : 0x123);
  }
}

TEST(CommonPacket, ReadsTheAnalogValueOfAnMPacket) {
  cQuorvaneCommand message;
  ASSERT_TRUE(message.InitFromCommonMessage(Bytes("4D 10 61 40 4C 58 00 30 32 30 30 4C 30 33 46 46")));
  EXPECT_EQ(message.rawAnalog16, 1023);
  EXPECT_EQ(message.param1, 0x30);
  EXPECT_EQ(message.param2, 0x33);
  EXPECT_EQ(message.level, 0);  // the code of "L" is no level
}

TEST(CommonPacket, ReplacesLowBatteryFormsOfSensorsAlone) {
  const struct {
    char flags;
    char received;
    std::string stored;
    bool low;
  } cases[] = {{0, 0x05, "\x04", true},  {0, 0x55, "T", true},
               {0, 0x75, "T", true},     {0, 0x01, std::string(1, '\0'), true},
               {0, 0x51, "P", true},     {0, 0x54, "T", false},
               {0x40, 0x51, "Q", false}, {0x40, 0x71, "q", false}};
  for (const auto& c : cases) {
    std::string packet = Bytes(kOnForA1);
    packet[6] = c.flags;
    packet[8] = c.received;
    cQuorvaneCommand message;
    ASSERT_TRUE(message.InitFromCommonMessage(packet));
    EXPECT_EQ(message.Command, c.stored);
    EXPECT_EQ(message.LowBattery, c.low);
  }
}

TEST(CommonPacket, ReadsLogPackets) {
  const struct {
    std::string_view packet;
    std::int32_t level;
    std::string_view text;
  } cases[] = {{"4C 06 02 61 62 63", 2, "abc"},
               {"4C 07 48 65 6C 6C 6F", 4, "Hello"},
               {"4C 03 04", 4, ""},
               {"4C 02", 0, ""}};
  for (const auto& c : cases) {
    cQuorvaneCommand message;
    ASSERT_TRUE(message.InitFromCommonMessage(Bytes(c.packet)));
    EXPECT_EQ(message.LogData, c.level);
    EXPECT_EQ(message.LogMessage, c.text);
  }
}

TEST(Flags, ViewsFollowTheBitsAndAreNeverCleared) {
  std::string packet = Bytes(kOnForA1);
  for (int flags = 0; flags < 256; ++flags) {
    packet[6] = static_cast<char>(flags);
    Probe message;
    ASSERT_TRUE(message.InitFromCommonMessage(packet));
    const bool views[] = {message.fDoTransmit,  message.fCCM,      message.fAddressOnly,
                          message.fCommandOnly, message.fWireless, message.fPassThrough,
                          message.fStacked};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(views[i], (flags & 0x80 >> i) != 0) << flags << " view " << i;
  }
  Probe message;
  message.SetFlag("&b00000010");
  EXPECT_EQ(message.Flags, 2);
  message.SetFlag("&b00000010");
  EXPECT_EQ(message.Flags, 0);
  EXPECT_TRUE(message.fStacked);
  message.SetFlag("128");
  message.SetFlag("&h80 or so");
  EXPECT_EQ(message.Flags, 0);
  message.SetFlag("&h1FFFFFFFF");
  EXPECT_EQ(message.Flags, -1);
}

TEST(Addressing, HouseAndUnitCodes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (std::int32_t unit = 1; unit <= 16; ++unit) {
    const auto index = static_cast<std::size_t>(unit - 1);
    cQuorvaneCommand message;
    message.SetUnitCode(unit);
    EXPECT_EQ(message.Address2, kDigits.substr(index, 1));
    EXPECT_EQ(message.GetUnitCode(), std::to_string(unit));
    const std::string house(1, static_cast<char>('A' + unit - 1));
    message.SetHouseCode(house);
    EXPECT_EQ(message.Address1, kDigits.substr(index, 1));
    EXPECT_EQ(message.GetHouseCode(), house);
  }
  cQuorvaneCommand message;
  message.SetHouseCode("k");
  for (const char* none : {"Q", "", "AB", "@", "\x80"}) message.SetHouseCode(none);
  EXPECT_EQ(message.GetHouseCode(), "K");
  const std::pair<std::int32_t, const char*> outside[] = {{17, "10"}, {0, "FFFFFFFF"}, {-15, "FFFFFFF0"}};
  for (const auto& [unit, digits] : outside) {
    message.SetUnitCode(unit);
    EXPECT_EQ(message.Address2, digits);
  }
  message.Address1 = message.Address2 = "\x80";
  EXPECT_EQ(message.GetHouseCode() + message.GetUnitCode(), "A1");
  message.Address1 = message.Address2 = "FFFFFFFFFFFFFFFFFFFF";  // wraps, and must not overflow
  EXPECT_EQ(message.GetHouseCode(), "@");
  EXPECT_EQ(message.GetUnitCode(), "9223372036854775808");
}

TEST(RawData, IsTakenNoFurtherThanThePacketsEnd) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"58 10 61 40 4C 58 40 30 58 03 01 02 03 20 20 0D", "\x01\x02\x03"},
      {"58 10 61 40 4C 58 40 30 58 C8 01 02 03 20 20 0D", "\x01\x02\x03  \r"},
      {"58 10 61 40 4C 58 40 30 58 00 01 02 03 20 20 0D", ""},
      {"58 0A 61 40 4C 58 40 30 58 03", ""},
      {"58 09 61 40 4C 58 40 30 58", ""}};
  for (const auto& [packet, data] : cases) {
    cQuorvaneCommand message;
    ASSERT_TRUE(message.InitFromCommonMessage(Bytes(packet)));
    EXPECT_TRUE(message.fCCM);
    EXPECT_EQ(message.GetSendRawData(), data) << packet;
  }
}

}  // namespace

#include <gmock/gmock.h>

#include <utility>

#include "message/quorvane_command.h"
#include "tests/bytes.h"

namespace {

using testing::ElementsAre;

constexpr std::string_view kOnForA1 = "58 10 61 40 4C 58 00 30 32 30 30 00 00 00 20 0D";
constexpr std::string_view kAnalog = "6D 02 61 C8 4D 59 C0 31 32 41 42 4C 30 33 46 46 46";

// A message whose protected fields are accessible.
class Probe : public cQuorvaneCommand {
 public:
  using cQuorvaneCommand::fAddressOnly;
  using cQuorvaneCommand::fCommandOnly;
  using cQuorvaneCommand::Flags;
  using cQuorvaneCommand::fPassThrough;
  using cQuorvaneCommand::PacketLength;
};

Probe Parse(std::string packet) {
  Probe message;
  EXPECT_TRUE(message.InitFromCommonMessage(std::move(packet)));
  return message;
}

TEST(CommonPacket, KeepsAppliedDefaults) {
  Probe message;
  message.SetCommand("2");
  message.SetHouseCode("A");
  message.SetUnitCode(1);
  EXPECT_EQ(message.GetRawCommand(), Bytes(kOnForA1));
  EXPECT_EQ(message.PacketLength, 16);
  EXPECT_EQ(message.InterfaceType, "L");
  EXPECT_EQ(message.GetTransactionID(), 64);
}

TEST(CommonPacket, BuildsTailForCommand) {
  cQuorvaneCommand message;
  message.SetTransactionID(0x41);
  message.SetLevel(1);
  message.SetParam1(2);
  message.SetParam2(3);
  message.SetCommand("4");
  EXPECT_EQ(message.GetRawCommand(), Bytes("58 10 61 41 4C 58 00 30 34 80 80 01 02 03 20 0D"));
  message.SetCommand("A");
  EXPECT_EQ(message.GetRawCommand(), Bytes("58 10 61 41 4C 58 00 30 41 80 80 01 20 20 20 0D"));
  message.analog0 = '0';
  message.analog1 = '1';
  message.analog2 = '2';
  message.analog3 = '3';
  EXPECT_EQ(message.GetRawCommand(), Bytes("58 11 61 41 4C 58 00 30 41 80 80 01 30 31 32 33 0D"));
  message.SetCommand("z");
  message.DoubleMeasurement = 1.0;
  EXPECT_EQ(message.GetRawCommand(), Bytes("58 14 61 41 4C 58 00 30 7A 80 80 00 00 00 00 00 00 F0 3F 0D"));
  message.SetCommand("X");
  message.SetRawData("\x01\x02\x03");
  EXPECT_EQ(message.GetRawCommand(), Bytes("58 10 61 41 4C 58 00 30 58 03 01 02 03 20 20 0D"));
  message.SetRawData("123456");
  EXPECT_EQ(message.GetRawCommand(), Bytes("58 11 61 41 4C 58 00 30 58 06 31 32 33 34 35 36 0D"));
  message.SetRawData(std::string(cQuorvaneCommand::kMaxRawData, 'r'));
  EXPECT_EQ(message.GetRawCommand()[1], '\xFF');
}

TEST(CommonPacket, ParsesAndRebuildsEachField) {
  const std::string packet = Bytes("59 10 62 C8 4D 5A C0 31 32 41 42 09 33 34 20 0D");
  Probe message = Parse(packet);
  EXPECT_EQ(message.rawAnalog16, 0);  // only in "M" packets
  EXPECT_EQ(message.GetRawCommand(), packet);
}

TEST(CommonPacket, FieldsPastEndAreEmpty) {
  Probe message = Parse(Bytes(kAnalog));
  EXPECT_EQ(message.PacketLength, 2);
  EXPECT_EQ(message.level, 0);  // sent as "L"
  EXPECT_EQ(message.rawAnalog16, 0x03FF);
  ASSERT_TRUE(message.InitFromCommonMessage("m"));  // keeps nothing of the first packet
  EXPECT_EQ(message.PacketLength, 0);
  EXPECT_EQ(message.InterfaceType, "");
  EXPECT_EQ(message.Address2, "");
  EXPECT_EQ(message.param2, 0);
  EXPECT_EQ(message.rawAnalog16, 0);
  EXPECT_EQ(Parse(Bytes(kAnalog).substr(0, 15)).rawAnalog16, 0x03F);
}

TEST(CommonPacket, AcceptsKindsInEitherCase) {
  for (const char kind : std::string_view("XxYyMmNnLl")) Parse({kind, 2});
  for (const std::string packet : {"", "A\x02", "E\x02", "J\x02", "Z\x02"}) {
    EXPECT_FALSE(cQuorvaneCommand().InitFromCommonMessage(packet)) << packet;
  }
}

TEST(CommonPacket, ReplacesLowBatteryFormsExceptQuit) {
  const struct {
    char flags, received, stored;
    bool low_battery;
  } cases[] = {{'\0', '\x05', '\x04', true}, {'\0', 'U', 'T', true},    {'\0', 'u', 'T', true},
               {'\0', '\x01', '\0', true},   {'\0', 'Q', 'P', true},    {'\0', 'T', 'T', false},
               {'\x40', 'Q', 'Q', false},    {'\x40', 'q', 'q', false}, {'\x40', 'U', 'T', true}};
  for (const auto& c : cases) {
    std::string packet = Bytes(kOnForA1);
    packet[6] = c.flags;
    packet[8] = c.received;
    cQuorvaneCommand message;
    message.fCCM = true;  // from an earlier packet: this packet's own bit decides
    ASSERT_TRUE(message.InitFromCommonMessage(packet));
    EXPECT_EQ(message.Command, std::string(1, c.stored));
    EXPECT_EQ(message.LowBattery, c.low_battery);
  }
}

TEST(CommonPacket, ParsesLogPackets) {
  EXPECT_EQ(Parse("L\x07\x02text").LogData, 2);
  EXPECT_EQ(Parse("L\x07\x02text").LogMessage, "text");
  EXPECT_EQ(Parse("L\x06text").LogData, 4);  // without a level
  EXPECT_EQ(Parse("L\x06text").LogMessage, "text");
  EXPECT_EQ(Parse("L\x03\x04").LogData, 4);
  EXPECT_EQ(Parse("L\x02").LogData, 0);
}

std::vector<bool> FieldsOf(char flags) {
  std::string packet = Bytes(kOnForA1);
  packet[6] = flags;
  const Probe m = Parse(packet);
  return {m.fDoTransmit, m.fCCM, m.fAddressOnly, m.fCommandOnly, m.fWireless, m.fPassThrough, m.fStacked};
}

TEST(Flags, SetBoolFields) {
  // Each field is set in a different combination of the packets.
  EXPECT_THAT(FieldsOf('\xAA'), ElementsAre(true, false, true, false, true, false, true));
  EXPECT_THAT(FieldsOf('\x66'), ElementsAre(false, true, true, false, false, true, true));
  EXPECT_THAT(FieldsOf('\x1F'), ElementsAre(false, false, false, true, true, true, true));
}

TEST(Flags, SetFlagTogglesBitsAndKeepsFields) {
  Probe message;
  message.SetFlag("&b00000010");
  EXPECT_EQ(message.Flags, 2);
  message.SetFlag("&b00000010");
  EXPECT_EQ(message.Flags, 0);
  EXPECT_TRUE(message.fStacked);
  message.SetFlag("&h80 or so");
  message.SetFlag("36893488147419103233");  // 2^65 + 1: the low 32 bits count
  EXPECT_EQ(message.Flags, 0x81);
}

TEST(Addressing, MapsHouseLettersAndUnitNumbersToDigits) {
  const std::pair<std::int32_t, std::string> digits[] = {{1, "0"}, {10, "9"}, {11, "A"}, {16, "F"}};
  for (const auto& [number, digit] : digits) {
    const std::string house(1, static_cast<char>('A' + number - 1));
    cQuorvaneCommand message;
    message.SetHouseCode(house);
    message.SetUnitCode(number);
    EXPECT_EQ(message.Address1, digit);
    EXPECT_EQ(message.Address2, digit);
    EXPECT_EQ(message.GetHouseCode(), house);
    EXPECT_EQ(message.GetUnitCode(), std::to_string(number));
  }
}

TEST(Addressing, AcceptsAnyBytes) {
  cQuorvaneCommand message;
  message.SetHouseCode("k");
  for (const char* none : {"Q", "", "AB", "@", "\x80"}) message.SetHouseCode(none);
  EXPECT_EQ(message.GetHouseCode(), "K");
  message.Address1 = message.Address2 = "FFFFFFFFFFFFFFFFFFFF";  // wraps without undefined overflow
  EXPECT_EQ(message.GetHouseCode(), "@");
  EXPECT_EQ(message.GetUnitCode(), "9223372036854775808");
}

TEST(RawData, IsLimitedByEndOfPacket) {
  EXPECT_EQ(Parse(Bytes("58 10 61 40 4C 58 40 30 58 03 01 02 03 20 20 0D")).GetSendRawData(), "\x01\x02\x03");
  EXPECT_EQ(Parse(Bytes("58 10 61 40 4C 58 40 30 58 C8 01 02 03 20 20 0D")).GetSendRawData(), "\x01\x02\x03  \r");
  EXPECT_EQ(Parse(Bytes("58 0A 61 40 4C 58 40 30 58 03")).GetSendRawData(), "");
  EXPECT_EQ(Parse(Bytes("58 09 61 40 4C 58 40 30 58")).GetSendRawData(), "");
}

}  // namespace

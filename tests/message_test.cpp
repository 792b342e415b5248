// Building, parsing and describing packets, and the examples and tables of docs/protocol.md.

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <map>
#include <regex>
#include <tuple>

#include "message/missing_object.h"
#include "tests/support.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Returns the examples of docs/protocol.md by name.
std::map<std::string, std::string> Examples() {
  const std::string page = Contents(TORVY_PROTOCOL_PAGE);
  const std::regex example("```hex (.*)\n([^`]*)");
  std::map<std::string, std::string> examples;
  for (std::sregex_iterator found(page.begin(), page.end(), example), end; found != end; ++found) {
    examples[found->str(1)] = Bytes(found->str(2));
  }
  return examples;
}

const std::string kOnForA1 = Examples()["unit-command"];
const std::string kAcknowledgement = Examples()["acknowledgement"];

// A message whose protected fields are accessible.
class Probe : public cQuorvaneCommand {
 public:
  using cQuorvaneCommand::fAddressOnly;
  using cQuorvaneCommand::fCommandOnly;
  using cQuorvaneCommand::Flags;
  using cQuorvaneCommand::fPassThrough;
  using cQuorvaneCommand::PacketLength;
};

Probe ParsePlain(std::string packet) {
  Probe message;
  EXPECT_TRUE(message.InitFromCommonMessage(std::move(packet)));
  return message;
}

cQuorvaneCommand ParseMulti(std::string packet) {
  cQuorvaneCommand message;
  EXPECT_TRUE(message.initFromMultiPacket(std::move(packet)));
  return message;
}

TEST(ProtocolPage, ExamplesMatchCode) {
  Probe on;
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
                                                 {"log", BuildLogPacket("ready", 2)},
                                                 {"device-bytes", "0102U"}};
  EXPECT_EQ(Examples(), built);
  EXPECT_EQ(on.PacketLength, 16);
  EXPECT_EQ(on.InterfaceType, "L");  // keeps the defaults that it applied
  EXPECT_EQ(on.GetTransactionID(), 64);
}

TEST(PlainPacket, BuildsTailForCommand) {
  cQuorvaneCommand message;
  const auto packet = [&message](std::string_view command) {
    message.SetCommand(command);
    return message.GetRawCommand();
  };
  message.SetTransactionID(0x41);
  message.SetLevel(1);
  message.SetParam1(2);
  message.SetParam2(3);
  EXPECT_EQ(packet("4"), Bytes("58 10 61 41 4C 58 00 30 34 80 80 01 02 03 20 0D"));
  EXPECT_EQ(packet("A"), Bytes("58 10 61 41 4C 58 00 30 41 80 80 01 20 20 20 0D"));
  message.analog0 = '0';
  message.analog1 = '1';
  message.analog2 = '2';
  message.analog3 = '3';
  EXPECT_EQ(packet("A"), Bytes("58 11 61 41 4C 58 00 30 41 80 80 01 30 31 32 33 0D"));
  message.DoubleMeasurement = 1.0;
  EXPECT_EQ(packet("z"), Bytes("58 14 61 41 4C 58 00 30 7A 80 80 00 00 00 00 00 00 F0 3F 0D"));
  message.SetRawData("123456");
  EXPECT_EQ(packet("X"), Bytes("58 11 61 41 4C 58 00 30 58 06 31 32 33 34 35 36 0D"));
  message.SetRawData(std::string(cQuorvaneCommand::kMaxRawData, 'r'));
  EXPECT_EQ(packet("X")[1], '\xFF');
}

TEST(PlainPacket, ParsesAndRebuildsEachField) {
  const std::string packet = Bytes("59 10 62 C8 4D 5A C0 31 32 41 42 09 33 34 20 0D");
  Probe message = ParsePlain(packet);
  EXPECT_EQ(message.rawAnalog16, 0);  // only in "M" packets
  EXPECT_EQ(message.GetRawCommand(), packet);
}

TEST(PlainPacket, FieldsPastEndAreEmpty) {
  const std::string analog = Bytes("6D 02 61 C8 4D 59 C0 31 32 41 42 4C 30 33 46 46 46");
  Probe message = ParsePlain(analog);
  EXPECT_EQ(message.PacketLength, 2);
  EXPECT_EQ(message.level, 0);  // sent as "L"
  EXPECT_EQ(message.rawAnalog16, 0x03FF);
  ASSERT_TRUE(message.InitFromCommonMessage("m"));  // keeps nothing of the first packet
  EXPECT_EQ(message.PacketLength, 0);
  EXPECT_EQ(message.InterfaceType + message.Address2, "");
  EXPECT_EQ(message.param2, 0);
  EXPECT_EQ(message.rawAnalog16, 0);
  EXPECT_EQ(ParsePlain(analog.substr(0, 15)).rawAnalog16, 0x03F);
}

TEST(PlainPacket, ReplacesLowBatteryFormsExceptQuit) {
  const std::tuple<char, char, char> cases[] = {{'\0', '\x05', '\x04'}, {'\0', 'U', 'T'},   {'\0', 'u', 'T'},
                                                {'\0', '\x01', '\0'},   {'\0', 'Q', 'P'},   {'\0', 'T', 'T'},
                                                {'\x40', 'Q', 'Q'},     {'\x40', 'q', 'q'}, {'\x40', 'U', 'T'}};
  for (const auto& [flags, received, stored] : cases) {
    std::string packet = kOnForA1;
    packet[6] = flags;
    packet[8] = received;
    cQuorvaneCommand message;
    message.fCCM = true;  // from an earlier packet: this packet's own bit decides
    ASSERT_TRUE(message.InitFromCommonMessage(packet));
    EXPECT_EQ(message.Command, std::string(1, stored));
    EXPECT_EQ(message.LowBattery, received != stored);
  }
}

TEST(PlainPacket, ParsesLogPackets) {
  const std::tuple<const char*, const char*, std::int32_t> cases[] = {
      {"L\x07\x02text", "text", 2}, {"L\x06text", "text", 4}, {"L\x03\x04", "", 4}, {"L\x02", "", 0}};
  for (const auto& [packet, text, level] : cases) {
    EXPECT_EQ(ParsePlain(packet).LogMessage, text);
    EXPECT_EQ(ParsePlain(packet).LogData, level);  // 4 for a packet without a level
  }
}

TEST(PlainPacket, EachFlagSetsOneField) {
  for (int field = 0; field < 7; ++field) {
    std::string packet = kOnForA1;
    packet[6] = static_cast<char>(0x80 >> field);
    const Probe m = ParsePlain(packet);
    const std::vector fields{m.fDoTransmit, m.fCCM,         m.fAddressOnly, m.fCommandOnly,
                             m.fWireless,   m.fPassThrough, m.fStacked};
    EXPECT_EQ(std::ranges::count(fields, true), 1);
    EXPECT_TRUE(fields.at(static_cast<std::size_t>(field)));
  }
}

TEST(PlainPacket, SetFlagTogglesBitsAndKeepsFields) {
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

TEST(PlainPacket, MapsHouseLettersAndUnitNumbersToDigits) {
  const std::pair<std::int32_t, std::string> digits[] = {{1, "0"}, {10, "9"}, {11, "A"}, {16, "F"}};
  cQuorvaneCommand message;
  for (const auto& [number, digit] : digits) {
    const std::string house(1, static_cast<char>('A' + number - 1));
    message.SetHouseCode(house);
    message.SetUnitCode(number);
    EXPECT_EQ(message.Address1 + message.Address2, digit + digit);
    EXPECT_EQ(message.GetHouseCode() + message.GetUnitCode(), house + std::to_string(number));
  }
  message.SetHouseCode("k");
  for (const char* none : {"Q", "", "AB", "@", "\x80"}) message.SetHouseCode(none);
  EXPECT_EQ(message.GetHouseCode(), "K");
  message.Address1 = message.Address2 = "FFFFFFFFFFFFFFFFFFFF";  // wraps without undefined overflow
  EXPECT_EQ(message.GetHouseCode() + message.GetUnitCode(), "@9223372036854775808");
}

TEST(PlainPacket, RawDataIsLimitedByEndOfPacket) {
  std::string packet = Examples()["raw-data"];
  EXPECT_EQ(ParsePlain(packet).GetSendRawData(), "\x01\x02\x03");
  packet[9] = '\xC8';
  EXPECT_EQ(ParsePlain(packet).GetSendRawData(), "\x01\x02\x03  \r");
  for (const std::size_t size : {10U, 9U}) EXPECT_EQ(ParsePlain(packet.substr(0, size)).GetSendRawData(), "");
  EXPECT_EQ(ParseMulti(kAcknowledgement).GetSendRawData(), "");
}

TEST(Multipacket, ParsesAndBuildsEntriesInEitherByteOrder) {
  cQuorvaneCommand message = ParseMulti(kAcknowledgement);
  EXPECT_EQ(message.MultiFlags, 0x80);
  EXPECT_EQ(message.Header, "");
  EXPECT_THAT(message.DebugString(), testing::EndsWith("raw command:(" + kAcknowledgement + ")\r"));
  EXPECT_THAT(message.GetKeys(), ElementsAre("mcmd", "PkID"));
  EXPECT_EQ(message.GetMulti("MCMD"), "ACK");
  EXPECT_EQ(message.GetMulti("pKid"), "17");
  EXPECT_EQ(message.GetMulti("addr"), "");
  EXPECT_TRUE(message.hasKey("pkid"));
  EXPECT_FALSE(message.hasKey("addr"));
  EXPECT_EQ(message.GetRawCommand(), kAcknowledgement);
  EXPECT_EQ(ParseMulti("J").MakeAck().GetRawCommand(),
            Bytes("4A 13 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 00 00"));
  // The packet's length is not used.
  message = ParseMulti(Bytes("4A FF FF 7F 6D 63 6D 64 00 03 41 43 4B 50 6B 49 44 00 02 31 37"));
  EXPECT_EQ(message.MultiFlags, 0x7F);
  EXPECT_EQ(message.GetRawCommand(), kAcknowledgement);
}

TEST(Multipacket, KeepsBytesOfTruncatedEntry) {
  const std::string packet = Examples()["device-command"];
  EXPECT_EQ(ParseMulti(packet.substr(0, 12)).GetMulti("addr"), "01");
  EXPECT_TRUE(ParseMulti(packet.substr(0, 10)).hasKey("addr"));
  EXPECT_THAT(ParseMulti(packet.substr(0, 19)).GetKeys(), ElementsAre("addr"));  // half a header follows
  for (const std::size_t size : {1U, 3U, 4U, 9U}) {
    const cQuorvaneCommand message = ParseMulti(packet.substr(0, size));
    EXPECT_THAT(message.GetKeys(), ElementsAre());
    EXPECT_EQ(message.MultiFlags, size > 3 ? 0x80 : 0);
  }
}

TEST(Multipacket, LimitsKeysTo4BytesAndValuesTo65535Bytes) {
  cQuorvaneCommand message;
  message.SetMulti("ACK", "1");
  message.SetMulti("", std::string(70000, 'v'));
  message.SetMulti("too long", "2");
  EXPECT_THAT(message.GetKeys(), ElementsAre(" ACK", "    ", "long"));
  EXPECT_EQ(message.GetMulti("ack"), "1");
  EXPECT_EQ(message.GetMulti(" long"), "2");
  EXPECT_EQ(message.GetRawCommand().substr(4, 13), Bytes("20 41 43 4B 01 00 31 20 20 20 20 FF FF"));
  EXPECT_EQ(message.GetRawCommand().size(), 4U + 7U + 6U + 65535U + 7U);
}

TEST(Multipacket, LaterEntryWithSameKeyReplacesValue) {
  cQuorvaneCommand message = ParseMulti(kAcknowledgement + Bytes("70 4B 69 64 04 00 61 62 63 64"));
  message.SetMulti("MCMD", "");
  EXPECT_THAT(message.GetKeys(), ElementsAre("mcmd", "PkID"));  // as first spelled
  EXPECT_EQ(message.GetMulti("PkID"), "abcd");
  EXPECT_EQ(message.GetMulti("mcmd"), "");
}

TEST(Multipacket, NeedsDictionary) {
  cQuorvaneCommand message;
  EXPECT_THAT([&] { message.GetKeys(); }, testing::ThrowsMessage<MissingObject>("the message has no dictionary"));
  EXPECT_THROW(message.GetMulti("addr"), MissingObject);
  EXPECT_THROW(message.hasKey("addr"), MissingObject);
  EXPECT_THROW(message.MakeAck(), MissingObject);
  EXPECT_EQ(message.GetRawMultipacket(), message.GetRawCommand());  // builds the plain packet instead
}

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

TEST(Descriptions, IgnoreCaseAndShowUnknownCodes) {
  EXPECT_EQ(Description('n', true, "a"), "pan right");  // the kind decides, not the flag
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
  for (const std::string label :
       {"Development (X)", "Direct log: (L)", "plx error: (E)", "shell echo of packet, ignored: ( A)", "UNKNOWN (Z)"}) {
    cQuorvaneCommand message;
    message.Header = label[label.size() - 2];
    EXPECT_THAT(message.DebugString(), HasSubstr("Header: " + label + "\r"));
    EXPECT_THAT(message.DebugString(),
                HasSubstr("DoTrans:0  CMM:0  AddressOnly:0  CommandOnly:0  Wireless:0  Pass:0\r"));
  }
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

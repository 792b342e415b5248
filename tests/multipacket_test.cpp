#include <gmock/gmock.h>

#include "message/missing_object.h"
#include "tests/bytes.h"
#include "tests/message_probe.h"

namespace {

using testing::ElementsAre;

constexpr std::string_view kAck = "4A 15 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 02 00 31 37";

TEST(Multipacket, AcknowledgesWithPacketIdentifier) {
  cQuorvaneCommand message;
  message.SetMulti("addr", "0102");
  EXPECT_EQ(message.MakeAck().GetRawCommand(), Bytes("4A 13 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 00 00"));
  message.SetMulti("PkID", "17");
  EXPECT_EQ(message.MakeAck().GetRawCommand(), Bytes(kAck));
  EXPECT_FALSE(message.hasKey("mcmd"));
}

TEST(Multipacket, ParsesEitherByteOrderAndIgnoresLength) {
  for (const std::string_view packet :
       {kAck, std::string_view("4A FF FF 7F 6D 63 6D 64 00 03 41 43 4B 50 6B 49 44 00 02 31 37")}) {
    MessageProbe message;
    ASSERT_TRUE(message.initFromMultiPacket(Bytes(packet)));
    EXPECT_TRUE(message.isMultiPacket);
    EXPECT_EQ(message.MultiFlags, packet == kAck ? 0x80 : 0x7F);
    EXPECT_EQ(message.LittleEndian, packet == kAck);
    EXPECT_THAT(message.GetKeys(), ElementsAre("mcmd", "PkID"));
    EXPECT_EQ(message.GetMulti("MCMD") + message.GetMulti("pKid") + message.GetMulti("addr"), "ACK17");
    EXPECT_EQ(message.Header, "");
    EXPECT_EQ(message.RawCommonCommand, Bytes(packet));
    EXPECT_EQ(message.GetRawCommand(), Bytes(kAck));
  }
}

TEST(Multipacket, KeepsContentOfShortPacket) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"4A", ""},
      {"4A 02 00", ""},
      {"4A 04 00 80", ""},
      {"4A 09 00 80 61 64 64 72 04", ""},                   // an incomplete entry header
      {"4A 0A 00 80 61 64 64 72 04 00", "addr= "},          // no bytes of the value
      {"4A 0C 00 80 61 64 64 72 04 00 30 31", "addr=01 "},  // two of four bytes
      {"4A 0B 00 80 61 64 64 72 00 00 4A", "addr= "}};      // then a single byte
  for (const auto& [packet, expected] : cases) {
    cQuorvaneCommand message;
    EXPECT_TRUE(message.initFromMultiPacket(Bytes(packet)));
    std::string entries;
    for (const std::string& key : message.GetKeys()) entries += key + "=" + message.GetMulti(key) + " ";
    EXPECT_EQ(entries, expected) << packet;
  }
}

TEST(Multipacket, LimitsKeysTo4BytesAndValuesTo65535Bytes) {
  cQuorvaneCommand message;
  message.SetMulti("ACK", "1");
  message.SetMulti("", std::string(70000, 'v'));
  message.SetMulti("too long", "2");
  EXPECT_THAT(message.GetKeys(), ElementsAre(" ACK", "    ", "long"));
  EXPECT_EQ(message.GetMulti("ack") + message.GetMulti(" long"), "12");
  EXPECT_EQ(message.GetRawCommand().substr(4, 13), Bytes("20 41 43 4B 01 00 31 20 20 20 20 FF FF"));
  EXPECT_EQ(message.GetRawCommand().size(), 4U + 7U + 6U + 65535U + 7U);
}

TEST(Multipacket, LaterOfTwoEntriesWithSameKeyReplacesValue) {
  cQuorvaneCommand message;
  ASSERT_TRUE(message.initFromMultiPacket(Bytes("4A 16 00 80 50 6B 49 44 02 00 31 37 70 4B 69 64 04 00 61 62 63 64")));
  message.SetMulti("addr", "01");
  message.SetMulti("ADDR", "02");
  const auto& entries = message.MultiDict->Entries();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].value, "abcd");
  EXPECT_EQ(entries[1].value, "02");
  EXPECT_THAT(message.GetKeys(), ElementsAre("PkID", "addr"));  // as first spelled
}

TEST(Multipacket, StaysMultipacketIfPlainPacketIsParsed) {
  cQuorvaneCommand message;
  message.SetMulti("addr", "0102");
  ASSERT_TRUE(message.InitFromCommonMessage("X\x02"));
  EXPECT_TRUE(message.isMultiPacket);
  EXPECT_EQ(message.GetMulti("addr"), "0102");
}

TEST(Multipacket, IgnoresCaseOfLettersOnly) {
  cQuorvaneCommand message;
  for (int byte = 0; byte < 256; ++byte) message.SetMulti(std::string("key") + static_cast<char>(byte), "");
  EXPECT_EQ(message.GetKeys().size(), 256U - 26U);  // upper-case letters equal lower-case ones; all other bytes differ
  EXPECT_TRUE(message.hasKey("KEYz") && message.hasKey("keyZ"));
}

TEST(Multipacket, ThrowsWithoutDictionary) {
  cQuorvaneCommand message;
  EXPECT_THROW(message.GetMulti("addr"), MissingObject);
  EXPECT_THROW(message.hasKey("addr"), MissingObject);
  EXPECT_THAT([&] { message.GetKeys(); }, testing::ThrowsMessage<MissingObject>("the message has no dictionary"));
  EXPECT_THROW(message.MakeAck(), MissingObject);
  message.SetCommand("2");
  EXPECT_EQ(message.GetRawMultipacket(), message.GetRawCommand());
  EXPECT_EQ(message.GetRawCommand()[0], 'X');
}

}  // namespace

#include <gmock/gmock.h>

#include "message/missing_object.h"
#include "message/quorvane_command.h"
#include "tests/bytes.h"

namespace {

using testing::ElementsAre;

constexpr std::string_view kAck = "4A 15 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 02 00 31 37";

cQuorvaneCommand Parse(std::string_view packet) {
  cQuorvaneCommand message;
  EXPECT_TRUE(message.initFromMultiPacket(Bytes(packet)));
  return message;
}

TEST(Multipacket, AcknowledgesWithPacketIdentifier) {
  cQuorvaneCommand message;
  message.SetMulti("addr", "0102");
  EXPECT_EQ(message.MakeAck().GetRawCommand(), Bytes("4A 13 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 00 00"));
  message.SetMulti("PkID", "17");
  EXPECT_EQ(message.MakeAck().GetRawCommand(), Bytes(kAck));
}

TEST(Multipacket, ParsesEntries) {
  cQuorvaneCommand message = Parse(kAck);
  EXPECT_EQ(message.MultiFlags, 0x80);
  EXPECT_TRUE(message.LittleEndian);
  EXPECT_EQ(message.Header, "");
  EXPECT_THAT(message.DebugString(), testing::EndsWith("raw command:(" + Bytes(kAck) + ")\r"));
  EXPECT_THAT(message.GetKeys(), ElementsAre("mcmd", "PkID"));
  EXPECT_EQ(message.GetMulti("MCMD"), "ACK");
  EXPECT_EQ(message.GetMulti("pKid"), "17");
  EXPECT_EQ(message.GetMulti("addr"), "");
  EXPECT_TRUE(message.hasKey("pkid"));
  EXPECT_FALSE(message.hasKey("addr"));
  EXPECT_EQ(message.GetRawCommand(), Bytes(kAck));
}

TEST(Multipacket, ParsesBigEndianLengthsAndIgnoresPacketLength) {
  cQuorvaneCommand message = Parse("4A FF FF 7F 6D 63 6D 64 00 03 41 43 4B 50 6B 49 44 00 02 31 37");
  EXPECT_EQ(message.MultiFlags, 0x7F);
  EXPECT_FALSE(message.LittleEndian);
  EXPECT_EQ(message.GetRawCommand(), Bytes(kAck));
}

TEST(Multipacket, KeepsBytesOfCutEntry) {
  EXPECT_EQ(Parse("4A 0A 00 80 61 64 64 72 04 00 30 31").GetMulti("addr"), "01");
  EXPECT_TRUE(Parse("4A 0A 00 80 61 64 64 72 04 00").hasKey("addr"));
  // The second entry's header is incomplete.
  EXPECT_THAT(Parse("4A 0F 00 80 61 64 64 72 00 00 6D 63 6D 64 02").GetKeys(), ElementsAre("addr"));
  for (const char* empty : {"4A", "4A 02 00", "4A 04 00 80"}) EXPECT_TRUE(Parse(empty).GetKeys().empty());
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
  cQuorvaneCommand message = Parse("4A 16 00 80 50 6B 49 44 02 00 31 37 70 4B 69 64 04 00 61 62 63 64");
  message.SetMulti("addr", "01");
  message.SetMulti("ADDR", "02");
  const auto& entries = message.MultiDict->Entries();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].value, "abcd");
  EXPECT_EQ(entries[1].value, "02");
  EXPECT_THAT(message.GetKeys(), ElementsAre("PkID", "addr"));  // as first spelled
}

TEST(Multipacket, NeedsDictionary) {
  cQuorvaneCommand message;
  EXPECT_THAT([&] { message.GetKeys(); }, testing::ThrowsMessage<MissingObject>("the message has no dictionary"));
  EXPECT_THROW(message.GetMulti("addr"), MissingObject);
  EXPECT_THROW(message.hasKey("addr"), MissingObject);
  EXPECT_THROW(message.MakeAck(), MissingObject);
  EXPECT_EQ(message.GetRawMultipacket(), message.GetRawCommand());  // builds the plain packet instead
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/missing_object.h"
#include "tests/kit.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kAck = "4A 15 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 02 00 31 37";

TEST(Multipacket, AcknowledgesByThePacketsIdentity) {
  cQuorvaneCommand message;
  message.SetMulti("PkID", "17");
  cQuorvaneCommand ack = message.MakeAck();
  EXPECT_TRUE(ack.isMultiPacket);
  EXPECT_EQ(ack.GetRawCommand(), Bytes(kAck));
  EXPECT_FALSE(message.hasKey("mcmd"));

  cQuorvaneCommand nameless;
  nameless.SetMulti("addr", "0102");
  EXPECT_EQ(nameless.MakeAck().GetRawCommand(),
            Bytes("4A 13 00 80 6D 63 6D 64 03 00 41 43 4B 50 6B 49 44 00 00"));
}

TEST(Multipacket, ReadsEitherByteOrderAndNoLength) {
  const std::string_view packets[] = {kAck, "4A 15 00 00 6D 63 6D 64 00 03 41 43 4B 50 6B 49 44 00 02 31 37",
                                      "4A FF FF 7F 6D 63 6D 64 00 03 41 43 4B 50 6B 49 44 00 02 31 37"};
  for (const std::string_view packet : packets) {
    Probe message;
    ASSERT_TRUE(message.initFromMultiPacket(Bytes(packet)));
    EXPECT_TRUE(message.isMultiPacket);
    EXPECT_EQ(message.MultiFlags, static_cast<unsigned char>(Bytes(packet)[3]));
    EXPECT_EQ(message.LittleEndian, packet == kAck);
    EXPECT_THAT(message.GetKeys(), ElementsAre("mcmd", "PkID"));
    EXPECT_EQ(message.GetMulti("MCMD"), "ACK");
    EXPECT_EQ(message.GetMulti("pKid"), "17");
    EXPECT_EQ(message.GetMulti("addr"), "");
    EXPECT_FALSE(message.hasKey("addr"));
    EXPECT_EQ(message.Header, "");
    EXPECT_EQ(message.RawCommonCommand, Bytes(packet));
    EXPECT_EQ(message.GetRawCommand(), Bytes(kAck));
  }
}

TEST(Multipacket, KeepsWhatAShortPacketHolds) {
  const struct {
    std::string_view packet;
    std::vector<std::string> entries;
  } cases[] = {{"4A", {}},
               {"4A 02 00", {}},
               {"4A 04 00 80", {}},
               {"4A 09 00 80 61 64 64 72 04", {}},                              // a head cut short
               {"4A 0A 00 80 61 64 64 72 04 00", {"addr="}},                    // no byte of the value
               {"4A 0C 00 80 61 64 64 72 04 00 30 31", {"addr=01"}},            // two of four
               {"4A 0B 00 80 61 64 64 72 00 00 4A", {"addr="}},                 // then a lone byte
               {"4A 10 00 80 61 62 63 64 00 00 41 42 43 44 00 00", {"abcd="}},  // one key in two cases
               {"4A 12 00 80 61 62 63 64 01 00 31 41 42 43 44 01 00 32", {"abcd=2"}}};
  for (const auto& c : cases) {
    cQuorvaneCommand message;
    EXPECT_TRUE(message.initFromMultiPacket(Bytes(c.packet)));
    std::vector<std::string> entries;
    for (const std::string& key : message.GetKeys()) entries.push_back(key + "=" + message.GetMulti(key));
    EXPECT_EQ(entries, c.entries) << c.packet;
  }
}

TEST(Multipacket, ReducesKeysToFourBytes) {
  cQuorvaneCommand message;
  message.SetMulti("ACK", "1");
  message.SetMulti("too long", "2");
  message.SetMulti("", "3");
  EXPECT_THAT(message.GetKeys(), ElementsAre(" ACK", "long", "    "));
  EXPECT_EQ(message.GetMulti("ack") + message.GetMulti(" long") + message.GetMulti(" "), "123");
  EXPECT_EQ(message.GetRawCommand().substr(4, 7), Bytes("20 41 43 4B 01 00 31"));
}

TEST(Multipacket, NeedsADictionary) {
  cQuorvaneCommand message;
  EXPECT_THROW(message.GetMulti("addr"), platform::MissingObject);
  EXPECT_THROW(message.hasKey("addr"), platform::MissingObject);
  EXPECT_THROW(message.GetKeys(), platform::MissingObject);
  EXPECT_THROW(message.MakeAck(), platform::MissingObject);
  message.SetCommand("2");
  EXPECT_EQ(message.GetRawMultipacket(), message.GetRawCommand());
  EXPECT_EQ(message.GetRawCommand()[0], 'X');
  ASSERT_TRUE(message.initFromMultiPacket(Bytes("4A 04 00 80")));
  EXPECT_THAT(message.GetKeys(), IsEmpty());
}

TEST(Multipacket, FindsEveryEntryOfTheLargestPacket) {
  // As many entries as a packet can hold, each key different, then each again with another value.
  constexpr std::size_t kEntries = 65535 / 6;
  std::string packet = Bytes("4A FF FF 80");
  const auto key = [](std::size_t i) {
    return std::string{'k', static_cast<char>('!' + i % 30), static_cast<char>('!' + i / 30 % 30),
                       static_cast<char>('!' + i / 900)};
  };
  for (std::size_t i = 0; i < kEntries; ++i) packet += key(i) + std::string(2, '\0');
  cQuorvaneCommand message;
  ASSERT_TRUE(message.initFromMultiPacket(packet));
  for (std::size_t i = 0; i < kEntries; ++i) message.SetMulti(key(i), std::to_string(i));
  ASSERT_EQ(message.GetKeys().size(), kEntries);
  for (std::size_t i = 0; i < kEntries; ++i) ASSERT_EQ(message.GetMulti(key(i)), std::to_string(i));
  EXPECT_EQ(message.GetKeys().front(), key(0));
}

TEST(Multipacket, CutsValuesThatNoLengthCanName) {
  cQuorvaneCommand message;
  message.SetMulti("long", std::string(70000, 'v'));
  const std::string packet = message.GetRawCommand();
  EXPECT_EQ(packet.size(), 4U + 6U + 65535U);
  EXPECT_EQ(packet.substr(8, 2), "\xFF\xFF");
}

}  // namespace

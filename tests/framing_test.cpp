#include "host/framing.h"

#include <gtest/gtest.h>

#include "tests/bytes.h"

namespace {

using Kind = Frame::Kind;

TEST(Framing, ClassifiesFrontOfStream) {
  const struct {
    std::string bytes;
    Kind kind;
    std::size_t length;
  } cases[] = {{"X", Kind::kIncomplete, 0},
               {"X\x03", Kind::kIncomplete, 3},
               {"X\x03y", Kind::kPlain, 3},
               {"X\x03yz", Kind::kPlain, 3},
               {"?\x01", Kind::kPlain, 1},
               {std::string("X\0y", 3), Kind::kZeroLength, 0},
               {std::string("X\xFF") + std::string(252, 'x'), Kind::kIncomplete, 255},
               {std::string("X\xFF") + std::string(253, 'x'), Kind::kPlain, 255},
               {"J", Kind::kIncomplete, 0},
               {"J\x02", Kind::kPlainUnlessMore, 2},
               {"j\x04xx", Kind::kPlainUnlessMore, 4},
               {"J\x05xx", Kind::kIncomplete, 5},
               {std::string("J\0", 2), Kind::kIncomplete, 0},
               {std::string("J\0\1\x80", 4), Kind::kIncomplete, 0},
               {std::string("J\0\1\x80k", 5), Kind::kMultiIncomplete, 256},
               {std::string("j\0\1\x80", 4) + std::string(252, 'k'), Kind::kMulti, 256},
               {std::string("J\x2C\1\x80", 4) + std::string(296, 'k'), Kind::kMulti, 300},
               {std::string("J\xFF\xFF\x80k", 5), Kind::kMultiIncomplete, 65535},
               {std::string("J\3\0\x80k", 5), Kind::kMulti, 3},
               {std::string("J\0\0\x80k", 5), Kind::kZeroLength, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes.substr(0, 8)));
    const Frame frame = FrontFrame(c.bytes);
    EXPECT_EQ(frame.kind, c.kind);
    EXPECT_EQ(frame.length, c.length);
  }
}

TEST(Framing, ContinuesAtNextCompletePacketAfterZeroLength) {
  const std::string multi = Bytes("6A 0A 00 80 50 6B 49 44 00 00");
  const struct {
    std::string bytes;
    std::size_t next;
  } cases[] = {{std::string("X\0\0\0X\x02", 6), 4},
               {std::string("\0n\x01", 3), 1},
               {std::string("\0", 1) + multi, 1},
               {std::string("\0J\1\0\0k", 6), 1},                    // shorter than its header
               {std::string("\0J\1\0\0", 5), 5},                     // four bytes are not a multipacket
               {std::string("\0J\0\0\0Y\x02", 7), 5},                // also a zero length
               {std::string("\0J\x09\0\0kX\x03y", 9), 6},            // an incomplete multipacket
               {std::string("\0X\x06yY\x02", 6), 4},                 // an incomplete plain packet
               {std::string("\0E\x02", 3) + "A\x02L\x03xM\x02", 8},  // unknown kinds and a log packet
               {std::string("X\0J\0\1", 5), 5},
               {std::string(3, '\0'), 3}};
  for (const auto& c : cases) EXPECT_EQ(NextCompletePacket(c.bytes), c.next) << testing::PrintToString(c.bytes);
}

}  // namespace

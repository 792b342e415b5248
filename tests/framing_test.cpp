#include "host/framing.h"

#include <filesystem>
#include <fstream>

#include "tests/kit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Kind = Frame::Kind;

TEST(Framing, TellsWhatTheFrontOfTheStreamHolds) {
  const struct {
    std::string bytes;
    Kind kind;
    std::size_t length;
    std::size_t missing = 0;
  } cases[] = {{"X", Kind::kPlainIncomplete, 2},
               {"X\x03", Kind::kPlainIncomplete, 3},
               {"X\x03y", Kind::kPlain, 3},
               {"X\x03yz", Kind::kPlain, 3},
               {"?\x01", Kind::kPlain, 1},
               {std::string("X\0y", 3), Kind::kZeroLength, 2},
               {std::string("X\xFF") + std::string(252, 'x'), Kind::kPlainIncomplete, 255},
               {std::string("X\xFF") + std::string(253, 'x'), Kind::kPlain, 255},
               {"J", Kind::kPlainIncomplete, 2, 4},
               {"J\x02", Kind::kPlain, 2, 3},
               {"j\x04xx", Kind::kPlain, 4, 1},
               {"J\x05xx", Kind::kPlainIncomplete, 5, 1},
               {std::string("J\0", 2), Kind::kPlainIncomplete, 5, 3},
               {std::string("J\0\1\x80", 4), Kind::kPlainIncomplete, 5, 1},
               {std::string("J\0\1\x80k", 5), Kind::kMultiIncomplete, 256, 251},
               {std::string("j\0\1\x80", 4) + std::string(252, 'k'), Kind::kMulti, 256},
               {std::string("J\x2C\1\x80", 4) + std::string(296, 'k'), Kind::kMulti, 300},
               {std::string("J\xFF\xFF\x80k", 5), Kind::kMultiIncomplete, 65535, 65530},
               {std::string("J\3\0\x80k", 5), Kind::kMulti, 3},
               {std::string("J\0\0\x80k", 5), Kind::kZeroLength, 4}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes.substr(0, 8)));
    const Frame frame = FrontFrame(c.bytes);
    EXPECT_EQ(frame.kind, c.kind);
    EXPECT_EQ(frame.length, c.length);
    EXPECT_EQ(frame.missing, c.missing);
  }
}

// Each seed, cut at every place: the target itself holds what is settled early against what is so in the end.
TEST(Framing, IsTheSameHoweverTheStreamIsCut) {
  int seeds = 0;
  for (const auto& file : std::filesystem::directory_iterator(TORVY_CORPUS)) {
    std::ifstream seed(file.path(), std::ios::binary);
    std::vector<std::uint8_t> stream(std::istreambuf_iterator<char>(seed), {});
    for (stream.at(0) = 0; stream[0] < 255; ++stream[0]) LLVMFuzzerTestOneInput(stream.data(), stream.size());
    ++seeds;
  }
  EXPECT_GT(seeds, 5);
}

}  // namespace

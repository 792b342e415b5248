#include "simulator/script.h"

#include <gtest/gtest.h>

#include "simulator/transcript.h"

namespace {

using Kind = Step::Kind;

TEST(Script, ReadsSteps) {
  std::string too_much = "raw";
  for (int i = 0; i < 245; ++i) too_much += " 31";
  const struct {
    std::string_view line;
    Kind kind;
    std::string_view text = {};
  } cases[] = {{"0102 ON", Kind::kCommand, "ON"},
               {"  0102\tall off \r", Kind::kCommand, "all off"},
               {"RAW 1 fF 00", Kind::kRaw, std::string_view("\x01\xFF\0", 3)},
               {"expect 0102U", Kind::kExpectDevice, "0102U"},
               {"expect log two  blanks", Kind::kExpectLog, "two  blanks"},
               {"fault Device pause", Kind::kFault, "Device pause"},
               {"stream 5", Kind::kStream},
               {"Quit", Kind::kQuit},
               {"  # 0102 ON", Kind::kNothing}};
  for (const auto& c : cases) {
    EXPECT_EQ(ReadStep(c.line).kind, c.kind) << c.line;
    EXPECT_EQ(ReadStep(c.line).text, c.text);
  }
  for (const std::string_view line : {"foo", "raw", "raw 123", "raw 1g", "wait", "wait -1", "expect", "fault",
                                      "fault x", "expect memory", too_much.c_str()}) {
    EXPECT_EQ(ReadStep(line).kind, Kind::kNotUnderstood) << line;
  }
}

TEST(Transcript, PutsBytesInWords) {
  EXPECT_EQ(DeviceBytesInWords("0102D77S"), "0102D77S  unit 0102 down (OFF), then unit 77 stop");
  EXPECT_EQ(DeviceBytesInWords(std::string("0102U\0", 6)), "0102U\\00  (raw bytes)");
}

}  // namespace

#include "platform/text.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(Text, ParsesNumbers) {
  const std::pair<std::string_view, std::int32_t> cases[] = {{"20300", 20300}, {"12ab", 12}, {"", 0},
                                                             {" 1", 0},        {"-1", 0},    {"&h1Fg", 31},
                                                             {"&HfF", 255},    {"&B12", 1},  {"&o7", 0}};
  for (const auto& [text, value] : cases) EXPECT_EQ(ReadInt32(text), value) << text;
  EXPECT_EQ(ReadHexadecimal("FFFFFFFFFFFFFFFFF"), INT64_MAX);
  EXPECT_EQ(ReadInt32("4294967297"), INT32_MAX);
}

TEST(Text, IgnoresCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(EqualIgnoringCase("sToP", "Stop"));
  for (const std::string_view other : {"STO", "STOP ", "ST\xD6P", "S\x14OP"})
    EXPECT_FALSE(EqualIgnoringCase("STOP", other));
  EXPECT_FALSE(EqualIgnoringCase("[\xC4", "{\xE4"));
}

TEST(Text, CountsCharactersNotBytes) {
  const struct {
    std::string_view text, first_two, last_two;
  } cases[] = {{"0102", "01", "02"},
               {"7", "7", "7"},
               {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8F\xA0", "\xC3\xA4\xE2\x82\xAC", "\xE2\x82\xAC\xF0\x9F\x8F\xA0"},
               {"\x80\xC3\x28", "\x80\xC3", "\xC3\x28"},  // invalid bytes count as one character each
               {"\xC0\xAF\x31", "\xC0\xAF", "\xAF\x31"},  // an overlong form
               {"\xED\xA0\x80", "\xED\xA0", "\xA0\x80"},  // a surrogate
               {"1\xF0\x9F\x8F", "1\xF0", "\x9F\x8F"}};   // an incomplete character
  for (const auto& c : cases) {
    EXPECT_EQ(FirstCharacters(c.text, 2), c.first_two);
    EXPECT_EQ(LastCharacters(c.text, 2), c.last_two);
  }
  EXPECT_EQ(TruncateToBytes("ab\xC3\xA4", 3), "ab");
  EXPECT_EQ(TruncateToBytes("ab\xC3\xA4", 4), "ab\xC3\xA4");
  EXPECT_EQ(TruncateToBytes("ab\xFF\xFF", 3), "ab\xFF");
}

}  // namespace
}  // namespace platform

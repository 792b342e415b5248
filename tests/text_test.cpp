#include "platform/text.h"

#include <gtest/gtest.h>

#include <limits>

namespace platform {
namespace {

TEST(Text, ReadsNumbers) {
  constexpr std::int64_t kTop = std::numeric_limits<std::int64_t>::max();
  const struct {
    std::string_view text;
    std::int64_t value;
  } cases[] = {{"20300", 20300},
               {"12ab", 12},
               {"", 0},
               {"x1", 0},
               {" 1", 0},
               {"-1", 0},
               {"&h1Fg", 31},
               {"&HfF", 255},
               {"&b00000010", 2},
               {"&B12", 1},
               {"&h", 0},
               {"&o7", 0},
               {"99999999999999999999", kTop},
               {"9223372036854775807", kTop},
               {"&hFFFFFFFFFFFFFFFF", kTop}};
  for (const auto& c : cases) EXPECT_EQ(ReadNumber(c.text), c.value) << c.text;
  EXPECT_EQ(ReadInt32("4294967297"), std::numeric_limits<std::int32_t>::max());
}

TEST(Text, ComparesAsciiLettersAlone) {
  EXPECT_TRUE(EqualIgnoringCase("sToP", "Stop"));
  EXPECT_FALSE(EqualIgnoringCase("ON", "ONE"));
  EXPECT_FALSE(EqualIgnoringCase("[", "{"));
  EXPECT_FALSE(EqualIgnoringCase("\xC4", "\xE4"));
}

TEST(Text, CountsCharactersNotBytes) {
  const struct {
    std::string_view text;
    std::string_view first_two;
    std::string_view last_two;
  } cases[] = {
      {"0102", "01", "02"},
      {"7", "7", "7"},
      {"", "", ""},
      {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8F\xA0", "\xC3\xA4\xE2\x82\xAC", "\xE2\x82\xAC\xF0\x9F\x8F\xA0"},
      {"\x80\xC3\x28", "\x80\xC3", "\xC3\x28"},  // bytes that are no character count one each
      {"\xC0\xAF"
       "1",
       "\xC0\xAF",
       "\xAF"
       "1"},                                     // an overlong form
      {"\xED\xA0\x80", "\xED\xA0", "\xA0\x80"},  // a surrogate
      {"1\xF0\x9F\x8F", "1\xF0", "\x9F\x8F"}};   // a character cut short
  for (const auto& c : cases) {
    EXPECT_EQ(FirstCharacters(c.text, 2), c.first_two);
    EXPECT_EQ(LastCharacters(c.text, 2), c.last_two);
  }
}

TEST(Text, CutsBetweenCharacters) {
  EXPECT_EQ(CutToBytes("ab\xC3\xA4", 3), "ab");
  EXPECT_EQ(CutToBytes("ab\xC3\xA4", 4), "ab\xC3\xA4");
  EXPECT_EQ(CutToBytes("ab\xFF\xFF", 3), "ab\xFF");
}

}  // namespace
}  // namespace platform

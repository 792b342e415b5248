#include "platform/text.h"

#include <algorithm>
#include <limits>

namespace platform {
namespace {

// Returns the value of a digit in any base up to 16; 16 for any other byte.
int DigitValue(char c) {
  const char lower = ToLower(c);
  if (lower >= '0' && lower <= '9') return lower - '0';
  if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return 16;
}

struct Digits {
  int base;
  std::string_view text;
};

// Returns the digits after a number's prefix, and their base.
Digits DigitsOf(std::string_view text) {
  const std::string_view prefix = text.substr(0, 2);
  if (EqualIgnoringCase(prefix, "&h")) return {16, text.substr(2)};
  if (EqualIgnoringCase(prefix, "&b")) return {2, text.substr(2)};
  return {10, text};
}

std::int64_t ReadDigits(Digits digits) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  std::int64_t value = 0;
  for (const char c : digits.text) {
    const int digit = DigitValue(c);
    if (digit >= digits.base) break;
    if (value > (kMax - digit) / digits.base) return kMax;
    value = value * digits.base + digit;
  }
  return value;
}

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, ToLower, ToLower);
}

std::int32_t ReadInt32(std::string_view text) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(ReadDigits(DigitsOf(text)), kMax));
}

std::uint32_t ReadLow32Bits(std::string_view text) {
  const Digits digits = DigitsOf(text);
  std::uint32_t value = 0;
  for (const char c : digits.text) {
    const int digit = DigitValue(c);
    if (digit >= digits.base) break;
    value = value * static_cast<std::uint32_t>(digits.base) + static_cast<std::uint32_t>(digit);
  }
  return value;
}

std::int64_t ReadHexadecimal(std::string_view digits) {
  return ReadDigits({16, digits});
}

std::string ToHexadecimal(std::uint64_t value) {
  std::string digits;
  do {
    digits.insert(digits.begin(), "0123456789ABCDEF"[value & 0xF]);
    value >>= 4;
  } while (value != 0);
  return digits;
}

std::size_t CharacterLength(std::string_view text, std::size_t position) {
  const auto first = static_cast<unsigned char>(text[position]);
  if (first < 0xC2 || first > 0xF4) return 1;
  std::size_t length = 2;
  if (first >= 0xE0) length = 3;
  if (first >= 0xF0) length = 4;
  if (length > text.size() - position) return 1;
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsContinuation(text[position + i])) return 1;
  }
  // The second byte shows whether this is an overlong form, a surrogate or a code point above U+10FFFF.
  const auto second = static_cast<unsigned char>(text[position + 1]);
  const bool invalid = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                       (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return invalid ? 1 : length;
}

std::string_view FirstCharacters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  for (; count > 0 && end < text.size(); --count) end += CharacterLength(text, end);
  return text.substr(0, end);
}

std::string_view LastCharacters(std::string_view text, std::size_t count) {
  std::size_t characters = 0;
  for (std::size_t at = 0; at < text.size(); at += CharacterLength(text, at)) ++characters;
  const std::size_t skipped = characters - std::min(characters, count);
  return text.substr(FirstCharacters(text, skipped).size());
}

std::string_view TruncateToBytes(std::string_view text, std::size_t bytes) {
  std::size_t end = 0;
  while (end < text.size()) {
    const std::size_t next = end + CharacterLength(text, end);
    if (next > bytes) break;
    end = next;
  }
  return text.substr(0, end);
}

}  // namespace platform

// Byte strings: comparing without regard to letter case, reading numbers, UTF-8 characters. Pure functions of any
// bytes.

#ifndef PLATFORM_TEXT_H_
#define PLATFORM_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// The byte in lower case if it is an ASCII letter.
constexpr char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Whether the texts are equal without regard to ASCII letter case.
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// The number a text begins with: decimal digits, hexadecimal digits after "&h", base-2 digits after "&b" (either case
// after "&"). No sign, no leading blanks; 0 without a number; saturates at the type's largest.
std::int64_t ReadNumber(std::string_view text);

// As ReadNumber, for a 32-bit number.
std::int32_t ReadInt32(std::string_view text);

// The low 32 bits of such a number of any length.
std::uint32_t ReadLow32Bits(std::string_view text);

// The hexadecimal number a text begins with, without any prefix.
std::int64_t ReadHexadecimal(std::string_view digits);

// Upper-case hexadecimal digits without leading zeros; 0 gives "0".
std::string ToHexadecimal(std::uint64_t value);

// The length in bytes of the UTF-8 character at `position`, which must lie within the text. A byte that
// begins no whole, valid character counts as a character of its own.
std::size_t CharacterLength(std::string_view text, std::size_t position);

// The first (last) `count` characters of a text, or all of it when it has fewer.
std::string_view FirstCharacters(std::string_view text, std::size_t count);
std::string_view LastCharacters(std::string_view text, std::size_t count);

// The longest beginning of the text that has at most `bytes` bytes and ends with a whole character.
std::string_view CutToBytes(std::string_view text, std::size_t bytes);

}  // namespace platform

#endif  // PLATFORM_TEXT_H_

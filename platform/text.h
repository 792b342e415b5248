// Byte strings: case-insensitive comparison, parsing of numbers, UTF-8 characters. All functions accept any bytes.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// Converts an ASCII letter to lower case; returns any other byte unchanged.
constexpr char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Whether the texts are equal, ignoring ASCII letter case.
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// Parses the number at the start of a text: decimal, hexadecimal after "&h", or binary after "&b" (not case-sensitive).
// Accepts no sign and no leading blanks. Returns 0 if there is no number; saturates at the type's maximum.
std::int32_t ReadInt32(std::string_view text);

// Like ReadInt32, but returns the low 32 bits of a number of any length.
std::uint32_t ReadLow32Bits(std::string_view text);

// Like ReadInt32, for a 64-bit hexadecimal number without a prefix.
std::int64_t ReadHexadecimal(std::string_view digits);

// Returns upper-case hexadecimal digits without leading zeros; "0" for 0.
std::string ToHexadecimal(std::uint64_t value);

// Returns the length in bytes of the UTF-8 character at `position`, which must be within the text. A byte that does not
// begin a complete, valid character counts as one character.
std::size_t CharacterLength(std::string_view text, std::size_t position);

// Returns the first (last) `count` characters of a text, or all of it if it has fewer.
std::string_view FirstCharacters(std::string_view text, std::size_t count);
std::string_view LastCharacters(std::string_view text, std::size_t count);

// Returns the longest prefix of the text that has at most `bytes` bytes and ends with a complete character.
std::string_view TruncateToBytes(std::string_view text, std::size_t bytes);

}  // namespace platform

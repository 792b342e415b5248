// Bytes and device commands as texts for messages, transcripts and scripts.

#ifndef SIMULATOR_WORDING_H_
#define SIMULATOR_WORDING_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// Whether a byte is the letter that ends a device command.
bool EndsCommand(char byte);

// The most bytes of a text or of data that a message shows.
inline constexpr std::size_t kMostShown = 60;

// Bytes as text: printable ASCII as it is, all else and the backslash as a backslash and two hexadecimal digits.
std::string Printable(std::string_view bytes);

// The bytes of such a text; none when two hexadecimal digits are missing after a backslash.
std::optional<std::string> ReadPrintable(std::string_view text);

// A text for a message: control characters escaped, cut after kMostShown bytes with an ellipsis.
std::string Shortened(std::string_view text);

// The same in quotation marks.
std::string Quoted(std::string_view text);

// A text's lines cut at blanks so that none is longer than `width`; lines after the first are indented.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

// Bytes for the interface, and what they ask for: "0102U  unit 0102 up (ON)". Of many, the number.
std::string DeviceBytesInWords(std::string_view bytes);

#endif  // SIMULATOR_WORDING_H_

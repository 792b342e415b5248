// Formats bytes and device commands for messages, transcripts and scripts.

#ifndef SIMULATOR_WORDING_H_
#define SIMULATOR_WORDING_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// Whether a byte is an action letter, which ends a device command.
bool EndsCommand(char byte);

// The maximum number of bytes of a text or of data shown in a message.
inline constexpr std::size_t kMostShown = 60;

// Returns bytes as text: printable ASCII unchanged, the backslash and all other bytes as a backslash and two
// hexadecimal digits.
std::string Printable(std::string_view bytes);

// Returns the bytes of such a text; nothing if a backslash is not followed by two hexadecimal digits.
std::optional<std::string> ReadPrintable(std::string_view text);

// Returns a text for a message: control characters escaped, and cut after kMostShown bytes with an ellipsis.
std::string Shortened(std::string_view text);

// Returns the same in quotation marks.
std::string Quoted(std::string_view text);

// Wraps a text at blanks to at most `width` columns; indents all lines after the first.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

// Describes bytes for the interface: "0102U  unit 0102 up (ON)". For many bytes, returns only their number.
std::string DeviceBytesInWords(std::string_view bytes);

#endif  // SIMULATOR_WORDING_H_

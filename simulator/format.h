// Formats bytes and device commands for messages, transcripts and scripts.

#ifndef SIMULATOR_FORMAT_H_
#define SIMULATOR_FORMAT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Whether a byte is an action letter, which ends a device command.
bool EndsCommand(char byte);

// The maximum number of bytes of a text or of data shown in a message.
inline constexpr std::size_t kMaxShown = 60;

// Returns the two hexadecimal digits of a byte.
std::string TwoDigits(char byte);

// Returns bytes as text: printable ASCII unchanged, the backslash and all other bytes as a backslash and two
// hexadecimal digits.
std::string Printable(std::string_view bytes);

// Returns the bytes of such a text; nothing if a backslash is not followed by two hexadecimal digits.
std::optional<std::string> ReadPrintable(std::string_view text);

// Returns a text for a message: control characters escaped, and an ellipsis in place of bytes beyond kMaxShown.
std::string Shortened(std::string_view text);

// Returns the same in quotation marks.
std::string Quoted(std::string_view text);

// Wraps a text at blanks to at most `width` columns; indents all lines after the first.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

// Splits bytes for the interface into device commands and runs of other bytes.
std::vector<std::string_view> SplitCommands(std::string_view bytes);

// Returns the number of bytes up to the end of the last command of five bytes or more; the rest may be incomplete.
std::size_t CompleteCommands(std::string_view bytes);

// Splits bytes for the interface into lines: at most kMaxShown bytes of commands, or a run of other bytes.
std::vector<std::string_view> DeviceLines(std::string_view bytes);

// Describes such a line: "0102U  unit 0102 up (ON)". For more than kMaxShown other bytes, returns only their number.
std::string DeviceBytesInWords(std::string_view line);

#endif  // SIMULATOR_FORMAT_H_

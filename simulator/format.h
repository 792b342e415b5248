// Formats bytes and device commands for messages, transcripts and scripts.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The maximum number of bytes of a text or of data shown in a message.
inline constexpr std::size_t kMaxShown = 60;

// Returns the two hexadecimal digits of a byte.
std::string TwoDigits(char byte);

// Returns bytes as text, in the notation of scripts: control characters, characters that change the direction of
// writing, bytes that are not UTF-8, and the backslash as a backslash and two hexadecimal digits per byte.
std::string Printable(std::string_view bytes);

// Returns the bytes of such a text; nothing if a backslash is not followed by two hexadecimal digits.
std::optional<std::string> ReadPrintable(std::string_view text);

// Returns a text for a message: escaped like bytes, except for the backslash, and with an ellipsis in place of bytes
// beyond kMaxShown.
std::string Shortened(std::string_view text);

// Returns the same in quotation marks.
std::string Quoted(std::string_view text);

// Wraps a text at blanks to at most `width` columns; indents all lines after the first.
std::string Wrapped(const std::string& text, std::size_t indent, std::size_t width);

// Returns the length of the command at the front of the bytes that a device receives: four characters and the letter of
// an action. Returns 0 if they do not begin with one.
std::size_t CommandLength(std::string_view bytes);

// Returns the command at the front of the bytes, or all bytes before the next command.
std::string_view FirstPiece(std::string_view bytes);

// Returns the bytes at the front to show in one line: the first piece, and if it is a command, further commands up to
// kMaxShown bytes.
std::string_view FirstLine(std::string_view bytes);

// Describes such a line: "0102U  unit 0102 up (ON)". Returns only the number of more than kMaxShown other bytes.
std::string DeviceBytesInWords(std::string_view line);

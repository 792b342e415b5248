// Bytes and device commands as texts that a person reads and a script can hold.

#ifndef SIMULATOR_WORDING_H_
#define SIMULATOR_WORDING_H_

#include <optional>
#include <string>
#include <string_view>

// Bytes as text: all but printable ASCII, and the backslash, as hexadecimal after a backslash.
std::string Printable(std::string_view bytes);

// The bytes that such a text stands for; none when two hexadecimal digits are missing after a backslash.
std::optional<std::string> ReadPrintable(std::string_view text);

// A text in quotation marks, for a message about it.
std::string Quoted(std::string_view text);

// A text's lines cut at blanks so that none is longer than `width`; lines after the first are indented.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

// One command as the interface gets it.
struct TorvyCommand {
  std::string address;
  char action;
};

// What the command's letter asks for, as "up (ON)".
std::string_view ActionInWords(char action);

// Takes the command off the front of what the interface got; none while it is not whole, or when the bytes begin no
// command.
std::optional<TorvyCommand> TakeTorvyCommand(std::string& bytes);

// What bytes for the interface ask for.
std::string DeviceBytesInWords(std::string_view bytes);

#endif  // SIMULATOR_WORDING_H_

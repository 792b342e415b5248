#include "simulator/wording.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "platform/text.h"

namespace {

constexpr std::string_view kActions = "UDS";
constexpr std::size_t kUsualLength = 5;  // of a Torvy command; a short address makes it shorter

bool IsPrintable(char byte) {
  return byte >= ' ' && byte <= '~';
}

}  // namespace

std::string Printable(std::string_view bytes) {
  constexpr std::uint8_t kTwoDigits = 0x10;
  std::string text;
  for (const char byte : bytes) {
    if (IsPrintable(byte) && byte != '\\') {
      text += byte;
      continue;
    }
    const auto value = static_cast<std::uint8_t>(byte);
    text += value < kTwoDigits ? "\\0" : "\\";
    text += platform::ToHexadecimal(value);
  }
  return text;
}

std::optional<std::string> ReadPrintable(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    if (text.front() != '\\') {
      bytes += text.front();
      text.remove_prefix(1);
      continue;
    }
    const std::string_view digits = text.substr(1, 2);
    const bool whole = digits.size() == 2 && std::ranges::all_of(digits, [](char digit) {
                         return std::isxdigit(static_cast<unsigned char>(digit)) != 0;
                       });
    if (!whole) return std::nullopt;
    bytes += static_cast<char>(platform::ReadHexadecimal(digits));
    text.remove_prefix(3);
  }
  return bytes;
}

std::string Quoted(std::string_view text) {
  std::string quoted(1, '"');
  quoted += text;
  quoted += '"';
  return quoted;
}

std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width) {
  std::string lines;
  std::size_t column = indent;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    const bool first = column == indent;
    if (!first && column + 1 + word.size() > width) {
      lines += '\n';
      lines.append(indent, ' ');
      column = indent;
    } else if (!first) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
    text.remove_prefix(std::min(text.size(), word.size() + 1));
  }
  return lines;
}

std::string_view ActionInWords(char action) {
  switch (action) {
    case 'U':
      return "up (ON)";
    case 'D':
      return "down (OFF)";
    case 'S':
      return "stop";
    default:
      return {};
  }
}

std::optional<TorvyCommand> TakeTorvyCommand(std::string& bytes) {
  // An address may hold such a letter, too: a command of the usual length is preferred.
  const bool usual = bytes.size() >= kUsualLength && kActions.find(bytes[kUsualLength - 1]) != std::string_view::npos;
  const std::size_t end = usual ? kUsualLength - 1 : bytes.find_first_of(kActions);
  if (end == std::string::npos ||
      !std::all_of(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(end), IsPrintable)) {
    return std::nullopt;
  }
  TorvyCommand command{bytes.substr(0, end), bytes[end]};
  bytes.erase(0, end + 1);
  return command;
}

std::string DeviceBytesInWords(std::string_view bytes) {
  constexpr std::size_t kMostInWords = 60;
  if (bytes.size() > kMostInWords) return std::to_string(bytes.size()) + " bytes";
  std::string words;
  std::string rest(bytes);
  while (!rest.empty()) {
    const auto command = TakeTorvyCommand(rest);
    if (!command) return Printable(bytes) + "  (raw bytes)";
    if (!words.empty()) words += ", then ";
    words += "unit " + command->address + " ";
    words += ActionInWords(command->action);
  }
  return Printable(bytes) + "  " + words;
}

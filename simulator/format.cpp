#include "simulator/format.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "device/actions.h"
#include "platform/text.h"

namespace {

// Whether a terminal shows the character, instead of acting on it.
bool IsShown(std::string_view character) {
  if (character.size() == 1) return character >= " " && character <= "~";
  const auto is_in = [character](std::string_view first, std::string_view last) {
    return character >= first && character <= last;
  };
  // Control characters, and those that change the direction of writing. NOLINTNEXTLINE(misc-misleading-bidirectional)
  return !is_in("\u0080", "\u009F") && !is_in("\u202A", "\u202E") && !is_in("\u2066", "\u2069");
}

// Writes each byte of characters that are not shown, and of those in `also`, as a backslash and two hexadecimal digits.
std::string Escaped(std::string_view text, std::string_view also) {
  std::string escaped;
  while (!text.empty()) {
    const std::string_view character = platform::FirstCharacters(text, 1);
    text.remove_prefix(character.size());
    if (IsShown(character) && also.find(character) == std::string_view::npos) {
      escaped += character;
    } else {
      for (const char byte : character) escaped += '\\' + TwoDigits(byte);
    }
  }
  return escaped;
}

const TorvyAction* ActionOf(char letter) {
  const auto* const action = std::ranges::find(kTorvyActions, letter, &TorvyAction::letter);
  return action == kTorvyActions.end() ? nullptr : action;
}

}  // namespace

std::string TwoDigits(char byte) {
  constexpr unsigned kThirdDigit = 0x100;
  return platform::ToHexadecimal(kThirdDigit + static_cast<unsigned char>(byte)).substr(1);
}

std::string Printable(std::string_view bytes) {
  return Escaped(bytes, "\\");
}

std::optional<std::string> ReadPrintable(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
      continue;
    }
    const std::string_view digits = text.substr(i + 1, 2);
    const auto is_digit = [](char digit) { return std::isxdigit(static_cast<unsigned char>(digit)) != 0; };
    if (digits.size() < 2 || !std::ranges::all_of(digits, is_digit)) return std::nullopt;
    bytes += static_cast<char>(platform::ReadHexadecimal(digits));
    i += digits.size();
  }
  return bytes;
}

std::string Shortened(std::string_view text) {
  return Escaped(platform::TruncateToBytes(text, kMaxShown), {}) + (text.size() > kMaxShown ? "..." : "");
}

std::string Quoted(std::string_view text) {
  return '"' + Shortened(text) + '"';
}

std::string Wrapped(const std::string& text, std::size_t indent, std::size_t width) {
  std::istringstream words(text);
  std::string lines;
  std::size_t column = indent;
  for (std::string word; words >> word; column += word.size()) {
    if (column + 1 + word.size() > width) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!lines.empty()) {
      lines += ' ';
      ++column;
    }
    lines += word;
  }
  return lines;
}

std::size_t CommandLength(std::string_view bytes) {
  constexpr std::size_t kAddressCharacters = 4;
  const std::string_view address = platform::FirstCharacters(bytes, kAddressCharacters);
  const bool complete = address.size() < bytes.size() && ActionOf(bytes[address.size()]) != nullptr;
  return complete && Printable(address) == address ? address.size() + 1 : 0;
}

std::string_view FirstPiece(std::string_view bytes) {
  std::size_t end = CommandLength(bytes);
  if (end > 0) return bytes.substr(0, end);
  while (end < bytes.size() && CommandLength(bytes.substr(end)) == 0) ++end;
  return bytes.substr(0, end);
}

std::string_view FirstLine(std::string_view bytes) {
  const bool commands = CommandLength(bytes) > 0;
  std::size_t end = FirstPiece(bytes).size();
  while (commands) {
    const std::size_t next = CommandLength(bytes.substr(end));
    if (next == 0 || end + next > kMaxShown) break;
    end += next;
  }
  return bytes.substr(0, end);
}

std::string DeviceBytesInWords(std::string_view line) {
  if (CommandLength(line) == 0) {
    return line.size() > kMaxShown ? std::to_string(line.size()) + " raw bytes" : Printable(line) + "  (raw bytes)";
  }
  std::string words;
  for (std::string_view rest = line; !rest.empty();) {
    const std::string_view command = FirstPiece(rest);
    rest.remove_prefix(command.size());
    const TorvyAction& action = *ActionOf(command.back());
    words += (words.empty() ? "  unit " : ", then unit ") + std::string(command.substr(0, command.size() - 1)) + ' ';
    words += action.effect;
    if (!platform::EqualIgnoringCase(action.effect, action.name)) words += " (" + std::string(action.name) + ")";
  }
  return std::string(line) + words;
}

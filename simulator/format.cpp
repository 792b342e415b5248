#include "simulator/format.h"

#include <algorithm>
#include <cctype>

#include "device/actions.h"
#include "platform/text.h"

namespace {

bool IsPrintable(char byte) {
  return byte >= ' ' && byte <= '~';
}

// Whether a text consists of printable ASCII and other UTF-8 characters.
bool IsText(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = platform::CharacterLength(text, 0);
    if (length == 1 && !IsPrintable(text.front())) return false;
    text.remove_prefix(length);
  }
  return true;
}

// Returns the length of the device command at the front of `bytes`; 0 if there is none. The driver sends the first two
// and the last two characters of an address, so that an address of one character is sent twice.
std::size_t CommandLength(std::string_view bytes) {
  constexpr std::size_t kCharacters = 4;
  std::string_view address = platform::FirstCharacters(bytes, kCharacters);
  if (address.size() == bytes.size() || !EndsCommand(bytes[address.size()])) {
    const std::string_view first = platform::FirstCharacters(bytes, 1);
    if (bytes.substr(first.size(), first.size()) != first) return 0;
    address = bytes.substr(0, 2 * first.size());
  }
  const bool complete = address.size() < bytes.size() && EndsCommand(bytes[address.size()]) && IsText(address);
  return complete ? address.size() + 1 : 0;
}

}  // namespace

bool EndsCommand(char byte) {
  return std::ranges::find(kTorvyActions, byte, &TorvyAction::letter) != kTorvyActions.end();
}

std::string TwoDigits(char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto value = static_cast<unsigned char>(byte);
  return {kDigits[value / kDigits.size()], kDigits[value % kDigits.size()]};
}

std::string Printable(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const bool plain = IsPrintable(byte) && byte != '\\';
    text += plain ? std::string(1, byte) : '\\' + TwoDigits(byte);
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
    const bool complete = digits.size() == 2 && std::ranges::all_of(digits, [](char digit) {
                            return std::isxdigit(static_cast<unsigned char>(digit)) != 0;
                          });
    if (!complete) return std::nullopt;
    bytes += static_cast<char>(platform::ReadHexadecimal(digits));
    text.remove_prefix(3);
  }
  return bytes;
}

std::string Shortened(std::string_view text) {
  std::string shown;
  for (const char byte : platform::TruncateToBytes(text, kMaxShown)) {
    const bool control = std::iscntrl(static_cast<unsigned char>(byte)) != 0;
    shown += control ? Printable({&byte, 1}) : std::string(1, byte);
  }
  return text.size() > kMaxShown ? shown + "..." : shown;
}

std::string Quoted(std::string_view text) {
  return '"' + Shortened(text) + '"';
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

std::vector<std::string_view> SplitCommands(std::string_view bytes) {
  std::vector<std::string_view> pieces;
  std::size_t other = 0;  // bytes at the front that do not begin a command
  while (other < bytes.size()) {
    const std::size_t length = CommandLength(bytes.substr(other));
    if (length == 0) {
      ++other;
      continue;
    }
    if (other > 0) pieces.push_back(bytes.substr(0, other));
    pieces.push_back(bytes.substr(other, length));
    bytes.remove_prefix(other + length);
    other = 0;
  }
  if (other > 0) pieces.push_back(bytes);
  return pieces;
}

std::size_t CompleteCommands(std::string_view bytes) {
  constexpr std::size_t kUsualLength = 5;
  std::size_t end = 0;
  std::size_t complete = 0;
  for (const std::string_view piece : SplitCommands(bytes)) {
    end += piece.size();
    if (piece.size() >= kUsualLength && CommandLength(piece) > 0) complete = end;
  }
  return complete;
}

std::vector<std::string_view> DeviceLines(std::string_view bytes) {
  std::vector<std::string_view> lines;
  bool after_command = false;
  for (const std::string_view piece : SplitCommands(bytes)) {
    const bool command = CommandLength(piece) > 0;
    if (command && after_command && lines.back().size() + piece.size() <= kMaxShown) {
      lines.back() = {lines.back().data(), lines.back().size() + piece.size()};
    } else {
      lines.push_back(piece);
    }
    after_command = command;
  }
  return lines;
}

std::string DeviceBytesInWords(std::string_view line) {
  if (CommandLength(line) == 0) {
    return line.size() > kMaxShown ? std::to_string(line.size()) + " raw bytes" : Printable(line) + "  (raw bytes)";
  }
  std::string words;
  for (const std::string_view command : SplitCommands(line)) {
    const auto* const action = std::ranges::find(kTorvyActions, command.back(), &TorvyAction::letter);
    words += (words.empty() ? "  unit " : ", then unit ") + std::string(command.substr(0, command.size() - 1)) + ' ';
    words += action->effect;
    if (!platform::EqualIgnoringCase(action->effect, action->name)) words += " (" + std::string(action->name) + ")";
  }
  return Printable(line) + words;
}

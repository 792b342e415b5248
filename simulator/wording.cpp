#include "simulator/wording.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>

#include "device/actions.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kUsualLength = 5;  // of a Torvy command; shorter with a short address

bool IsPrintable(char byte) {
  return byte >= ' ' && byte <= '~';
}

// The effect of each of the driver's actions on a unit, in the order of kTorvyActions.
constexpr auto kEffects = std::to_array<std::string_view>({"up (ON)", "down (OFF)", "stop"});
static_assert(kEffects.size() == kTorvyActions.size());

// Removes the device command at the front of `bytes` and returns it in words; nothing if there is none.
std::optional<std::string> TakeCommandInWords(std::string_view& bytes) {
  // An address may contain an action letter, so a command of the usual length is tried first.
  const bool usual = bytes.size() >= kUsualLength && EndsCommand(bytes[kUsualLength - 1]);
  const auto* const letter = usual ? &bytes[kUsualLength - 1] : std::ranges::find_if(bytes, EndsCommand);
  if (letter == bytes.end()) return std::nullopt;
  const std::string_view address(bytes.begin(), letter);
  if (!std::ranges::all_of(address, IsPrintable)) return std::nullopt;
  std::string words = "unit ";
  words += address;
  words += ' ';
  const auto* const action = std::ranges::find(kTorvyActions, *letter, &TorvyAction::letter);
  words += kEffects.at(static_cast<std::size_t>(action - kTorvyActions.begin()));
  bytes.remove_prefix(address.size() + 1);
  return words;
}

}  // namespace

bool EndsCommand(char byte) {
  return std::ranges::find(kTorvyActions, byte, &TorvyAction::letter) != kTorvyActions.end();
}

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

std::string Shortened(std::string_view text) {
  constexpr unsigned kContinuationMask = 0xC0;  // a UTF-8 character is not cut in two
  constexpr unsigned kContinuation = 0x80;
  std::size_t end = std::min(text.size(), kMostShown);
  while (end > 0 && end < text.size() && (static_cast<unsigned char>(text[end]) & kContinuationMask) == kContinuation) {
    --end;
  }
  std::string shown;
  for (const char byte : text.substr(0, end)) {
    const bool control = std::iscntrl(static_cast<unsigned char>(byte)) != 0;
    shown += control ? Printable({&byte, 1}) : std::string(1, byte);
  }
  return end < text.size() ? shown + "..." : shown;
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

std::string DeviceBytesInWords(std::string_view bytes) {
  if (bytes.size() > kMostShown) return std::to_string(bytes.size()) + " bytes";
  std::string words;
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const auto command = TakeCommandInWords(rest);
    if (!command) return Printable(bytes) + "  (raw bytes)";
    if (!words.empty()) words += ", then ";
    words += *command;
  }
  return Printable(bytes) + "  " + words;
}

#include "simulator/transcript.h"

#include <array>
#include <cstdio>

#include "platform/console.h"
#include "platform/text.h"
#include "platform/ticks.h"

namespace {

struct WayLook {
  std::string_view name;
  std::string_view colour;
};
constexpr std::array<WayLook, 3> kWays{
    {{"host -> driver  ", "\x1b[36m"}, {"host <- driver  ", "\x1b[33m"}, {"driver -> device", "\x1b[32;1m"}}};
constexpr std::string_view kProblemColour = "\x1b[31;1m";
constexpr std::string_view kPlain = "\x1b[0m";
constexpr std::string_view kPrompt = "torvy> ";
constexpr std::string_view kClearLine = "\r\x1b[K";

std::string HexadecimalBytes(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const std::string digits = platform::ToHexadecimal(static_cast<unsigned char>(byte));
    if (!text.empty()) text += ' ';
    text += digits.size() < 2 ? "0" + digits : digits;
  }
  return text;
}

// Writes to the terminal without a line end.
void Show(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

std::string_view ActionInWords(char letter) {
  switch (letter) {
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

}  // namespace

Transcript::Transcript(Style style) : style_(style), start_(platform::MonotonicNow()) {}

void Transcript::Event(Way way, std::string_view text) {
  const std::chrono::duration<double> elapsed = platform::MonotonicNow() - start_;
  std::array<char, 32> time{};
  std::snprintf(time.data(), time.size(), "%8.3f s  ", elapsed.count());
  const WayLook& look = kWays.at(static_cast<std::size_t>(way));
  Print(std::string(time.data()) + std::string(look.name) + "  " + std::string(text), look.colour);
}

void Transcript::Packet(const std::string& bytes) {
  if (!style_.verbose) return;
  PrintDetail(HexadecimalBytes(bytes));
  cQuorvaneCommand packet;
  if (bytes.starts_with('J')) {
    packet.initFromMultiPacket(bytes);
    for (const std::string& key : packet.GetKeys()) PrintDetail(key + " = " + packet.GetMulti(key));
    return;
  }
  packet.InitFromCommonMessage(bytes);
  PrintDetail("in a log: " + packet.GetLogLine());
  const std::string dump = packet.DebugString();
  // The last line holds the raw bytes, which may have line ends of their own.
  const std::size_t end = dump.find("       raw command:(");
  for (std::size_t start = 0; start < end; start = dump.find('\r', start) + 1) {
    PrintDetail(dump.substr(start, dump.find('\r', start) - start));
  }
}

void Transcript::Note(std::string_view text) {
  Print(text, {});
}

void Transcript::Problem(std::string_view text) {
  Print(text, kProblemColour);
}

void Transcript::Prompt() const {
  if (style_.prompt) Show(std::string(kClearLine) + std::string(kPrompt));
}

void Transcript::EndPrompt() {
  if (style_.prompt) Show(kClearLine);
  style_.prompt = false;
}

void Transcript::PrintDetail(const std::string& text) const {
  Print("                              " + Printable(text), {});
}

void Transcript::Print(std::string_view line, std::string_view colour) const {
  std::string text;
  if (style_.prompt) text += kClearLine;
  if (style_.colours && !colour.empty()) {
    text += colour;
    text += line;
    text += kPlain;
  } else {
    text += line;
  }
  platform::PrintLine(text);
  Prompt();
}

std::string DeviceBytesInWords(std::string_view bytes) {
  constexpr std::size_t kMostInWords = 60;
  if (bytes.size() > kMostInWords) return std::to_string(bytes.size()) + " bytes";
  std::string words;
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const std::size_t end = rest.find_first_of("UDS");
    if (end == std::string_view::npos) return Printable(bytes) + "  (raw bytes)";
    if (!words.empty()) words += ", then ";
    words += "unit " + Printable(rest.substr(0, end)) + " ";
    words += ActionInWords(rest[end]);
    rest.remove_prefix(end + 1);
  }
  return Printable(bytes) + "  " + words;
}

std::string Printable(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    if (byte >= ' ' && byte <= '~') {
      text += byte;
    } else {
      text += '\\';
      text += HexadecimalBytes({&byte, 1});
    }
  }
  return text;
}

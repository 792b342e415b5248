#include "simulator/transcript.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "message/quorvane_command.h"
#include "platform/clock.h"
#include "simulator/format.h"

namespace {

struct LineStyle {
  std::string_view name;
  std::string_view colour;
};
constexpr auto kLineStyles = std::to_array<LineStyle>({{"host -> driver  ", "\x1b[36m"},
                                                       {"host <- driver  ", "\x1b[33m"},
                                                       {"driver -> device", "\x1b[32;1m"},
                                                       {"driver's console", "\x1b[35m"},
                                                       {"as expected     ", "\x1b[32m"}});
constexpr std::string_view kProblemColour = "\x1b[31;1m";
constexpr std::string_view kPlain = "\x1b[0m";

}  // namespace

Transcript::Transcript(Style style) : style_(style), start_(platform::MonotonicNow()) {}

void Transcript::Event(Kind kind, std::string_view text) {
  const LineStyle& line_style = kLineStyles.at(static_cast<std::size_t>(kind));
  Print(Time() + "  " + std::string(line_style.name) + "  " + std::string(text), line_style.colour);
}

std::string Transcript::Time() {
  std::array<char, 32> text{};
  if (!style_.clock) {
    const std::chrono::duration<double> elapsed = platform::MonotonicNow() - start_;
    std::snprintf(text.data(), text.size(), "%8.3f s", elapsed.count());
    return text.data();
  }
  constexpr long kNanosecondsPerMillisecond = 1'000'000;
  std::timespec now{};
  std::timespec_get(&now, TIME_UTC);
  std::tm local{};
  localtime_r(&now.tv_sec, &local);
  std::strftime(text.data(), text.size(), "%Y-%m-%d", &local);
  if (date_ != text.data()) Note(date_ = text.data());
  const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
  std::snprintf(&text.at(length), text.size() - length, ".%03ld", now.tv_nsec / kNanosecondsPerMillisecond);
  return text.data();
}

void Transcript::Packet(const std::string& bytes) {
  if (!style_.verbose) return;
  std::string digits;
  for (const char byte : bytes) digits += TwoDigits(byte) + ' ';
  digits.pop_back();
  PrintDetail(digits);
  cQuorvaneCommand packet;
  if (bytes.starts_with('J')) {
    packet.initFromMultiPacket(bytes);
    for (const std::string& key : packet.GetKeys()) PrintDetail(key + " = " + packet.GetMulti(key));
    return;
  }
  packet.InitFromCommonMessage(bytes);
  PrintDetail("in a log: " + packet.GetLogLine());
  std::istringstream dump(packet.DebugString());
  std::string line;
  // The last field is the raw bytes, which may contain line ends.
  while (std::getline(dump, line, '\r') && line.find("raw command:(") == std::string::npos) PrintDetail(line);
}

void Transcript::Problem(std::string_view text) {
  Print(text, kProblemColour);
}

void Transcript::PrintDetail(const std::string& text) {
  Print("                              " + Printable(text), {});
}

void Transcript::Print(std::string_view line, std::string_view colour) {
  const bool coloured = style_.colours && !colour.empty();
  std::string text(line);
  if (coloured) text = std::string(colour) + text + std::string(kPlain);
  text += '\n';
  if (BeforeLine) BeforeLine();
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!written && write_error_ == 0) write_error_ = errno;
  if (AfterLine) AfterLine();
}

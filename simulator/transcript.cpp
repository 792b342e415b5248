#include "simulator/transcript.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "message/quorvane_command.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "simulator/wording.h"

namespace {

struct Look {
  std::string_view name;
  std::string_view colour;
};
constexpr std::array<Look, 5> kLooks{{{"host -> driver  ", "\x1b[36m"},
                                      {"host <- driver  ", "\x1b[33m"},
                                      {"driver -> device", "\x1b[32;1m"},
                                      {"driver's console", "\x1b[35m"},
                                      {"as expected     ", "\x1b[32m"}}};
constexpr std::string_view kProblemColour = "\x1b[31;1m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string HexadecimalBytes(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const std::string digits = platform::ToHexadecimal(static_cast<unsigned char>(byte));
    if (!text.empty()) text += ' ';
    text += digits.size() < 2 ? "0" + digits : digits;
  }
  return text;
}

}  // namespace

Transcript::Transcript(Style style) : style_(style), start_(platform::MonotonicNow()) {}

void Transcript::Event(Kind kind, std::string_view text) {
  const Look& look = kLooks.at(static_cast<std::size_t>(kind));
  Print(Time() + "  " + std::string(look.name) + "  " + std::string(text), look.colour);
}

std::string Transcript::Time() const {
  std::array<char, 32> text{};
  if (style_.clock) {
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    constexpr long kNanosecondsPerMillisecond = 1'000'000;
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03ld", local.tm_hour, local.tm_min, local.tm_sec,
                  now.tv_nsec / kNanosecondsPerMillisecond);
  } else {
    const std::chrono::duration<double> elapsed = platform::MonotonicNow() - start_;
    std::snprintf(text.data(), text.size(), "%8.3f s", elapsed.count());
  }
  return text.data();
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
  // Omit the last field, the raw bytes, which may contain line ends.
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

void Transcript::PrintDetail(const std::string& text) {
  Print("                              " + Printable(text), {});
}

void Transcript::Print(std::string_view line, std::string_view colour) {
  std::string text;
  if (style_.colours && !colour.empty()) {
    text += colour;
    text += line;
    text += kPlain;
  } else {
    text += line;
  }
  text += '\n';
  if (BeforeLine) BeforeLine();
  Write(text);
  if (AfterLine) AfterLine();
}

void Transcript::Write(std::string_view text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!written && write_error_ == 0) write_error_ = errno;
}

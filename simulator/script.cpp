#include "simulator/script.h"

#include <algorithm>
#include <array>
#include <span>

#include "message/quorvane_command.h"
#include "platform/text.h"
#include "simulator/fault.h"

namespace {

using Kind = Step::Kind;

constexpr std::string_view kBlanks = " \t\r";

// Takes the first word off a line, and the blanks around it.
std::string_view TakeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  return word;
}

Step NotUnderstood(std::string why) {
  return {.kind = Kind::kNotUnderstood, .text = std::move(why)};
}

Step ReadRaw(std::string_view rest) {
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  Step step{.kind = Kind::kRaw};
  while (!rest.empty()) {
    const std::string_view word = TakeWord(rest);
    if (word.size() > 2 || word.find_first_not_of(kDigits) != std::string_view::npos) {
      return NotUnderstood(Quoted(word) + " is no byte; raw takes bytes in hexadecimal: raw 01 02 03");
    }
    step.text += static_cast<char>(platform::ReadHexadecimal(word));
  }
  if (step.text.empty()) return NotUnderstood("raw takes bytes in hexadecimal: raw 01 02 03");
  if (step.text.size() > cQuorvaneCommand::kMostRawData) return NotUnderstood("one packet carries at most 244 bytes");
  return step;
}

// Reads the number that a step of this kind takes.
Step ReadCount(Kind kind, std::string_view rest) {
  constexpr std::int32_t kLargest = 1'000'000;
  const std::int32_t count = platform::ReadInt32(rest);
  if (count <= 0 || count > kLargest) return NotUnderstood("a number from 1 to 1000000 is missing: wait 500");
  return {.kind = kind, .count = count};
}

struct Word {
  std::string_view name;
  Kind kind;
};

constexpr std::array<Word, 3> kCountedSteps{{{"wait", Kind::kWait}, {"stream", Kind::kStream}, {"fill", Kind::kFill}}};

constexpr std::array<Word, 4> kLoneWords{
    {{"debug", Kind::kDebug}, {"quit", Kind::kQuit}, {"help", Kind::kHelp}, {"flood", Kind::kFlood}}};

constexpr std::array<Word, 6> kExpectations{{{"log", Kind::kExpectLog},
                                             {"console", Kind::kExpectConsole},
                                             {"stream", Kind::kExpectStream},
                                             {"idle", Kind::kExpectIdle},
                                             {"end", Kind::kExpectEnd},
                                             {"memory", Kind::kExpectMemory}}};

// The row of a word, or null.
const Word* Find(std::span<const Word> table, std::string_view name) {
  const auto place =
      std::ranges::find_if(table, [name](const Word& word) { return platform::EqualIgnoringCase(word.name, name); });
  return place == table.end() ? nullptr : &*place;
}

Step ReadExpectation(std::string_view rest) {
  std::string_view after = rest;
  const Word* const word = Find(kExpectations, TakeWord(after));
  if (word == nullptr && rest.empty()) {
    return NotUnderstood("expect takes the device's characters, or log and a line: expect 0102U");
  }
  if (word == nullptr) return {.kind = Kind::kExpectDevice, .text = std::string(rest)};
  if (word->kind == Kind::kExpectMemory) return ReadCount(word->kind, after);
  return {.kind = word->kind, .text = std::string(after)};
}

Step ReadFault(std::string_view rest) {
  if (!IsFault(rest)) return NotUnderstood(Quoted(rest) + " is no fault; help lists them");
  return {.kind = Kind::kFault, .text = std::string(rest)};
}

}  // namespace

std::string Quoted(std::string_view text) {
  std::string quoted(1, '"');
  quoted += text;
  quoted += '"';
  return quoted;
}

Step ReadStep(std::string_view line) {
  using platform::EqualIgnoringCase;
  line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
  std::string_view rest = line;
  const std::string_view word = TakeWord(rest);
  if (word.empty() || word.starts_with('#')) return {};
  if (EqualIgnoringCase(word, "raw")) return ReadRaw(rest);
  if (EqualIgnoringCase(word, "expect")) return ReadExpectation(rest);
  if (EqualIgnoringCase(word, "fault")) return ReadFault(rest);
  if (const Word* const counted = Find(kCountedSteps, word)) return ReadCount(counted->kind, rest);
  if (rest.empty()) {
    if (const Word* const lone = Find(kLoneWords, word)) return {.kind = lone->kind};
    return NotUnderstood(Quoted(word) + " is no step; a device command is an address and a command: 0102 ON");
  }
  return {.kind = Kind::kCommand, .address = std::string(word), .text = std::string(rest)};
}

const char* const kScriptHelp =
    "  0102 ON          command ON, OFF or Stop for the unit at address 0102\n"
    "  debug            switch the driver's debug lines on or off\n"
    "  raw 01 02 03     pass bytes to the device as they are\n"
    "  stream 5000      so many device commands at once, for the units 0000 and up\n"
    "  fill 100         so many packets of 244 raw bytes at once\n"
    "  flood            device commands without end, until the driver ends\n"
    "  wait 500         let so many milliseconds go by\n"
    "  expect 0102U     the next characters on the device's line are these\n"
    "  expect stream    what the last stream asked for reaches the device, whole and in order\n"
    "  expect log TEXT  the driver logs this line to the host\n"
    "  expect console TEXT, expect idle, expect end, expect memory 32\n"
    "                   the driver's console shows a text; it rests; it ends by itself; it had at most so many MiB\n"
    "  quit             ask the driver to quit\n"
    "  help             show this list; a line that begins with # is a comment\n";

const char* const kDemonstration =
    "0102 ON\n"
    "expect 0102U\n"
    "0102 OFF\n"
    "expect 0102D\n"
    "0304 Stop\n"
    "expect 0304S\n"
    "0102 DIM\n"
    "expect log unsupported command: DIM\n"
    "debug\n"
    "0102 ON\n"
    "expect 0102U\n"
    "expect log sending command: (0102U)\n"
    "quit\n"
    "expect log The torvy plx has been asked to quit. (1)\n";

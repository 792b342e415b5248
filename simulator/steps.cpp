#include "simulator/steps.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <optional>

#include "message/quorvane_command.h"
#include "platform/text.h"
#include "simulator/script.h"
#include "simulator/session.h"
#include "simulator/wording.h"

namespace {

using Takes = StepRow::Takes;
constexpr std::string_view kBlanks = " \t\r";
constexpr std::int32_t kLargestCount = 1'000'000;

// Makes a row's action of what a fault does.
template <void (*kInject)(Session& session)>
bool Fault(Session& session, const Step& step) {
  session.Output().Note("fault: " + step.line);
  kInject(session);
  return true;
}

void PauseDevice(Session& session) {
  session.DeviceLink().Paused = true;
}
void ResumeDevice(Session& session) {
  session.DeviceLink().Paused = false;
}
void CloseDevice(Session& session) {
  session.DeviceLink().Close();
}
void PauseHost(Session& session) {
  session.HostLink().Paused = true;
}
void CloseHost(Session& session) {
  session.HostLink().Close();
}
void ResetHost(Session& session) {
  session.HostLink().Reset();
}
void FinishHost(Session& session) {
  session.HostLink().FinishSending();
}
void StopDriver(Session& session) {
  session.Driver().Signal(SIGSTOP);
}
void ContinueDriver(Session& session) {
  session.Driver().Signal(SIGCONT);
}

bool SendCommand(Session& session, const Step& step) {
  return session.SendCommand(step.address, step.text);
}
bool Quit(Session& session, const Step& /*step*/) {
  return session.Quit();
}

constexpr std::array kRows{
    StepRow{"", "ADDRESS COMMAND", Takes::kCommand, false,
            "command ON, OFF or Stop for the unit at an address: 0102 ON", SendCommand},
    StepRow{"command", "ADDRESS COMMAND", Takes::kCommand, false, "the same for an address that holds no digit",
            SendCommand},
    StepRow{"debug", "", Takes::kNothing, false, "switch the driver's debug lines on or off",
            [](Session& session, const Step&) { return session.ToggleDebugMode(); }},
    StepRow{"raw", "BYTE...", Takes::kBytes, false, "pass bytes to the device as they are: raw 01 2A FF",
            [](Session& session, const Step& step) { return session.SendRaw(step.text); }},
    StepRow{"stream", "COUNT", Takes::kCount, false, "so many device commands at once, for the units 0000 and up",
            [](Session& session, const Step& step) { return session.SendStream(step.count); }},
    StepRow{"fill", "COUNT", Takes::kCount, false, "so many packets of 244 raw bytes at once",
            [](Session& session, const Step& step) { return session.SendRawPackets(step.count); }},
    StepRow{"flood", "", Takes::kNothing, false, "device commands without end, until the driver ends",
            [](Session& session, const Step&) { return session.Flood(); }},
    StepRow{"wait", "MILLISECONDS", Takes::kCount, false, "let so much time go by",
            [](Session& session, const Step& step) { return session.Wait(step.count); }},
    StepRow{"expect", "BYTES", Takes::kText, true, "the next bytes that reach the device are these: expect 0102U",
            [](Session& session, const Step& step) { return session.ExpectDevice(step.text); }},
    StepRow{"expect stream", "", Takes::kNothing, true,
            "what the last stream asked for reaches the device, whole and in order",
            [](Session& session, const Step&) { return session.ExpectStream(); }},
    StepRow{"expect log", "TEXT", Takes::kText, false, "the driver logs this line to the host",
            [](Session& session, const Step& step) { return session.ExpectLog(step.text); }},
    StepRow{"expect console", "TEXT", Takes::kText, false, "the driver's console shows this text",
            [](Session& session, const Step& step) { return session.ExpectConsole(step.text); }},
    StepRow{"expect idle", "", Takes::kNothing, false, "the driver comes to rest",
            [](Session& session, const Step&) { return session.ExpectIdle(); }},
    StepRow{"expect end", "", Takes::kNothing, false, "the driver ends by itself, with status 0",
            [](Session& session, const Step&) { return session.ExpectEnd(); }},
    StepRow{"expect memory", "MIB", Takes::kCount, false,
            "the driver, which has ended, never had so many MiB more than when it was ready",
            [](Session& session, const Step& step) { return session.ExpectMemory(step.count); }},
    StepRow{"fault device pause", "", Takes::kNothing, true, "the device takes nothing", Fault<PauseDevice>},
    StepRow{"fault device resume", "", Takes::kNothing, true, "the device takes again", Fault<ResumeDevice>},
    StepRow{"fault device close", "", Takes::kNothing, true, "the device closes its link, or its adapter is pulled out",
            Fault<CloseDevice>},
    StepRow{"fault host pause", "", Takes::kNothing, false, "the host reads no more", Fault<PauseHost>},
    StepRow{"fault host close", "", Takes::kNothing, false, "the host closes its link in order", Fault<CloseHost>},
    StepRow{"fault host reset", "", Takes::kNothing, false, "the host breaks its link", Fault<ResetHost>},
    StepRow{"fault host finish", "", Takes::kNothing, false, "the host sends no more, and still reads",
            Fault<FinishHost>},
    StepRow{"fault driver stop", "", Takes::kNothing, false, "the driver's process is stopped", Fault<StopDriver>},
    StepRow{"fault driver continue", "", Takes::kNothing, false, "the driver's process is continued",
            Fault<ContinueDriver>},
    StepRow{"over ip", "", Takes::kNothing, false, "first in a script: the device is reached over TCP", nullptr},
    StepRow{"over serial", "", Takes::kNothing, false, "first in a script: the device is reached over a serial line",
            nullptr},
    StepRow{"quit", "", Takes::kNothing, false, "ask the driver to quit; ends what is typed", Quit},
    StepRow{"exit", "", Takes::kNothing, false, "the same", Quit},
    StepRow{"help", "", Takes::kNothing, false, "show this list; a line that begins with # is a comment",
            [](Session& session, const Step&) {
              session.Output().Note(StepsHelp());
              return true;
            }},
};

// Takes the first word off a line, and the blanks around it.
std::string_view TakeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  return word;
}

// What follows the words at the start of a line; none when it starts with others.
std::optional<std::string_view> After(std::string_view words, std::string_view line) {
  while (!words.empty()) {
    if (!platform::EqualIgnoringCase(TakeWord(words), TakeWord(line))) return std::nullopt;
  }
  return line;
}

// The row whose words the line begins with, the longest of them; null when there is none.
const StepRow* FindRow(std::string_view line) {
  const StepRow* found = nullptr;
  for (const StepRow& row : kRows) {
    if (row.words.empty() || !After(row.words, line)) continue;
    if (found == nullptr || row.words.size() > found->words.size()) found = &row;
  }
  return found;
}

// Each of these reads what a step takes; returns what is wrong, if anything.
std::string ReadText(std::string_view rest, Step& step) {
  if (rest.empty()) return "takes a text";
  const auto text = ReadPrintable(rest);
  if (!text) return "takes a text in which \\ has two hexadecimal digits: " + Quoted(rest);
  step.text = *text;
  return {};
}

std::string ReadBytes(std::string_view rest, Step& step) {
  while (!rest.empty()) {
    const std::string_view word = TakeWord(rest);
    std::string escaped = word.size() == 1 ? "\\0" : "\\";
    escaped += word;
    const auto byte = word.size() > 2 ? std::nullopt : ReadPrintable(escaped);
    if (!byte) return "takes bytes in hexadecimal, such as 01 2A FF; " + Quoted(word) + " is none";
    step.text += *byte;
  }
  if (step.text.empty()) return "takes bytes in hexadecimal, such as 01 2A FF";
  if (step.text.size() > cQuorvaneCommand::kMostRawData)
    return "takes at most 244 bytes, which is what one packet carries";
  return {};
}

std::string ReadCount(std::string_view rest, Step& step) {
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), step.count);
  const bool number = error == std::errc() && end == rest.data() + rest.size();
  if (number && step.count > 0 && step.count <= kLargestCount) return {};
  std::string wrong = "takes a number from 1 to 1000000";
  if (!rest.empty()) wrong += "; " + Quoted(rest) + " is none";
  return wrong;
}

std::string ReadCommand(std::string_view rest, Step& step) {
  step.address = TakeWord(rest);
  step.text = rest;
  return step.text.empty() ? "takes an address and a command: 0102 ON" : "";
}

std::string ReadOperand(std::string_view rest, Step& step) {
  switch (step.row->takes) {
    case Takes::kNothing:
      return rest.empty() ? "" : "takes nothing more; here it is followed by " + Quoted(rest);
    case Takes::kText:
      return ReadText(rest, step);
    case Takes::kBytes:
      return ReadBytes(rest, step);
    case Takes::kCount:
      return ReadCount(rest, step);
    case Takes::kCommand:
      return ReadCommand(rest, step);
  }
  return {};
}

Step NoStep(std::string_view line, std::string why) {
  return {.line = std::string(line), .wrong = std::move(why)};
}

}  // namespace

std::string StepRow::Usage() const {
  std::string usage(words);
  if (!words.empty() && !operand.empty()) usage += ' ';
  return usage += operand;
}

std::span<const StepRow> StepRows() {
  return kRows;
}

Step ReadStep(std::string_view line) {
  line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  if (line.empty() || line.starts_with('#')) return {.line = std::string(line)};
  std::string_view rest = line;
  const std::string_view word = TakeWord(rest);
  Step step{.row = FindRow(line), .line = std::string(line)};
  if (step.row == nullptr) {
    // A word without a digit is rather a step that was mistyped than the address of a unit.
    const bool address = word.find_first_of("0123456789") != std::string_view::npos;
    if (!address) return NoStep(line, Quoted(line) + " is no step; help lists them");
    step.row = &kRows.front();
  }
  const std::string wrong = ReadOperand(After(step.row->words, line).value_or(""), step);
  if (wrong.empty()) return step;
  return NoStep(line, (step.row->words.empty() ? "a device command" : std::string(step.row->words)) + " " + wrong);
}

std::vector<std::string> StepsThatBegin(std::string_view typed) {
  std::vector<std::string> steps;
  for (const StepRow& row : kRows) {
    const bool begins = platform::EqualIgnoringCase(row.words.substr(0, typed.size()), typed);
    if (!row.words.empty() && row.perform != nullptr && begins) steps.emplace_back(row.words);
  }
  return steps;
}

std::string HelpRow(std::string_view name, std::string_view meaning) {
  constexpr std::size_t kColumn = 27;
  constexpr std::size_t kWidth = 79;
  std::string row = "  ";
  row += name;
  row.append(row.size() + 2 <= kColumn ? kColumn - row.size() : 2, ' ');
  return row + Wrapped(meaning, kColumn, kWidth) + "\n";
}

std::string StepsHelp() {
  std::string help;
  for (const StepRow& row : kRows) help += HelpRow(row.Usage(), row.help);
  help.pop_back();
  return help;
}

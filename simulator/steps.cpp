#include "simulator/steps.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

#include "message/quorvane_command.h"
#include "platform/text.h"
#include "simulator/format.h"

namespace {

using OperandKind = StepRow::OperandKind;
constexpr std::string_view kBlanks = " \t\r";
constexpr std::int32_t kMaxCount = 1'000'000;

// Removes the first word and the blanks around it from a line; returns the word.
std::string_view TakeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  return word;
}

// Returns the rest of a line that begins with `words`; nothing if it begins with other words.
std::optional<std::string_view> After(std::string_view words, std::string_view line) {
  while (!words.empty()) {
    if (!platform::EqualIgnoringCase(TakeWord(words), TakeWord(line))) return std::nullopt;
  }
  return line;
}

// Returns the row with the most words that the line begins with; null if there is none.
const StepRow* FindRow(std::string_view line) {
  const StepRow* found = nullptr;
  for (const StepRow& row : StepRows()) {
    if (row.words.empty() || !After(row.words, line)) continue;
    if (found == nullptr || row.words.size() > found->words.size()) found = &row;
  }
  return found;
}

// The functions below parse a step's operand. They return why it is invalid, or an empty string.
std::string ReadText(std::string_view rest, Step& step) {
  if (rest.empty()) return "requires a text";
  const auto text = ReadPrintable(rest);
  if (!text) return "requires a text in which \\ is followed by two hexadecimal digits, not " + Quoted(rest);
  step.text = *text;
  return {};
}

std::string ReadBytes(std::string_view rest, Step& step) {
  constexpr const char* kRequirement = "requires bytes in hexadecimal, such as 01 2A FF";
  while (!rest.empty()) {
    const std::string_view word = TakeWord(rest);
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), byte, 16);
    if (error != std::errc() || end != word.data() + word.size())
      return std::string(kRequirement) + ", not " + Quoted(word);
    step.text += static_cast<char>(byte);
  }
  if (step.text.empty()) return kRequirement;
  if (step.text.size() > cQuorvaneCommand::kMaxRawData)
    return "sends at most 244 bytes; more would not fit in a packet";
  return {};
}

std::string ReadCount(std::string_view rest, Step& step) {
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), step.count);
  const bool number = error == std::errc() && end == rest.data() + rest.size();
  if (number && step.count > 0 && step.count <= kMaxCount) return {};
  std::string wrong = "requires a number from 1 to 1000000";
  if (!rest.empty()) wrong += ", not " + Quoted(rest);
  return wrong;
}

std::string ReadCommand(std::string_view rest, Step& step) {
  constexpr std::size_t kMaxBytes = 65'000;  // the packet, with its keys and lengths, is limited to 65535
  if (rest.size() > kMaxBytes) return "can have at most 65000 bytes; more would not fit in a packet";
  if (rest.find(" #") != std::string_view::npos || rest.find("\t#") != std::string_view::npos) {
    return "cannot contain a comment, which needs a line of its own";
  }
  const auto is_control = [](char byte) { return byte != '\t' && std::iscntrl(static_cast<unsigned char>(byte)) != 0; };
  if (std::ranges::any_of(rest, is_control)) return "cannot contain control characters";
  step.address = TakeWord(rest);
  step.text = rest;
  return step.text.empty() ? "requires an address and a command: 0102 ON" : "";
}

std::string ReadOperand(std::string_view rest, Step& step) {
  switch (step.row->operand) {
    case OperandKind::kNothing:
      return rest.empty() ? "" : "does not allow an operand: " + Quoted(rest);
    case OperandKind::kText:
      return ReadText(rest, step);
    case OperandKind::kBytes:
      return ReadBytes(rest, step);
    case OperandKind::kCount:
      return ReadCount(rest, step);
    case OperandKind::kCommand:
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
  if (!words.empty() && !operand_name.empty()) usage += ' ';
  return usage += operand_name;
}

Step ReadStep(std::string_view line) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  if (line.empty() || line.starts_with('#')) return {.line = std::string(line)};
  std::string_view rest = line;
  const std::string_view word = TakeWord(rest);
  Step step{.row = FindRow(line), .line = std::string(line)};
  if (step.row == nullptr) {
    // An address begins with a letter or a digit and contains a digit; any other word is a mistyped step.
    const auto first = static_cast<unsigned char>(word.front());
    const bool begins_an_address = first >= 0x80 || std::isalnum(first) != 0;
    const bool address = begins_an_address && word.find_first_of("0123456789") != std::string_view::npos;
    if (!address) {
      return NoStep(line,
                    "unknown step " + Quoted(line) + R"(; "help" lists all steps, "command" sends to any address)");
    }
    step.row = &StepRows().front();
  }
  const std::string wrong = ReadOperand(After(step.row->words, line).value_or(""), step);
  if (wrong.empty()) return step;
  return NoStep(line, (step.row->words.empty() ? "a device command" : std::string(step.row->words)) + " " + wrong);
}

std::string WhyNotPerformable(const Step& step) {
  const bool first_only = step.row != nullptr && step.row->IsTransport();
  return first_only ? Shortened(step.line) + " can only be a script's first step" : step.wrong;
}

std::vector<std::string> StepsThatBegin(std::string_view typed) {
  std::vector<std::string> steps;
  for (const StepRow& row : StepRows()) {
    const bool begins = platform::EqualIgnoringCase(row.words.substr(0, typed.size()), typed);
    if (!row.words.empty() && !row.IsTransport() && begins) steps.emplace_back(row.words);
  }
  return steps;
}

std::string HelpRow(std::string_view name, const std::string& meaning) {
  constexpr std::size_t kColumn = 27;
  constexpr std::size_t kWidth = 79;
  std::string row = "  ";
  row += name;
  row.append(row.size() + 2 <= kColumn ? kColumn - row.size() : 2, ' ');
  return row + Wrapped(meaning, kColumn, kWidth) + "\n";
}

std::string StepsHelp() {
  std::string steps;
  std::string for_tests;
  for (const StepRow& row : StepRows())
    (row.use == StepRow::Use::kDriverTest ? for_tests : steps) += HelpRow(row.Usage(), std::string(row.help));
  for_tests.pop_back();
  return steps + "\nFor testing a driver:\n" + for_tests;
}

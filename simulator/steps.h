// The simulator's language: one step per line. One table defines words, operands, help and actions.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class Expectations;
class Session;
struct StepRow;

// One parsed line.
struct Step {
  const StepRow* row = nullptr;           // null for an empty line, a comment or an invalid line
  std::string line{};                     // as written in the script
  std::optional<std::string> position{};  // "file:7", as in compiler messages; none if typed at a terminal
  std::string text{};                     // the operand: a text, bytes, or a command for the unit at `address`
  std::string address{};
  std::int32_t count = 0;  // the operand, if it is a number
  std::string wrong{};     // why the line is invalid; empty if it is valid

  // Returns a message about the line, with its position.
  std::string Message(const std::string& why) const { return position ? *position + ": " + why : why; }
};

struct StepRow {
  enum class Kind { kSend, kWait, kExpectation, kFault, kOverIp, kOverSerial, kHelp };
  enum class OperandKind { kNothing, kText, kBytes, kCount, kCommand };
  enum class Use { kAlways, kObservableDevice, kDriverTest };
  // What an action uses.
  struct Context {
    Session& session;
    Expectations& expected;
    const Step& step;
  };

  Kind kind;
  std::string_view words;  // what the line begins with; empty for a device command
  OperandKind operand;
  std::string_view operand_name;  // as in the help
  std::string_view help;
  void (*perform)(const Context& context);  // throws StepFailed; null for `over` steps
  Use use = Use::kAlways;                   // whether it needs an observable device, or only serves to test a driver

  // Whether the step selects the transport of a script.
  bool IsTransport() const { return kind == Kind::kOverIp || kind == Kind::kOverSerial; }
  // Returns the step as shown in the help.
  std::string Usage() const;
};

std::span<const StepRow> StepRows();

// Parses a line; sets `wrong` if it is invalid.
Step ReadStep(std::string_view line);

// Returns why the line cannot be performed during a session, or an empty string if it can.
std::string WhyNotPerformable(const Step& step);

// Returns the words of all steps that begin with the typed text.
std::vector<std::string> StepsThatBegin(std::string_view typed);

// Returns the help for all steps, for a terminal of 80 columns.
std::string StepsHelp();

// Returns one row of the help: a name, and its meaning in a second column.
std::string HelpRow(std::string_view name, const std::string& meaning);

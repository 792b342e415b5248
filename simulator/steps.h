// The simulator's language: one step a line. Its words, operands, help and actions stand in one table.

#ifndef SIMULATOR_STEPS_H_
#define SIMULATOR_STEPS_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class Session;
struct StepRow;

// One parsed line.
struct Step {
  const StepRow* row = nullptr;  // null for an empty line, a comment and a line that is no step
  std::string line{};            // as it stands in the script
  std::string text{};            // the operand: a text, bytes, or a command for the unit at `address`
  std::string address{};
  std::int32_t count = 0;  // or a number
  std::string wrong{};     // why the line is no step
};

struct StepRow {
  enum class Takes { kNothing, kText, kBytes, kCount, kCommand };

  std::string_view words;         // what the line begins with; empty for a device command
  std::string_view operand = {};  // what follows, as help names it
  Takes takes = Takes::kNothing;
  std::string_view help;
  bool (*perform)(Session& session, const Step& step);  // false when the step fails; null for a script's first step
  bool needs_visible_device = false;                    // needs the interface's end of the link
  bool tests_driver = false;                            // of use to somebody who tests a driver only

  bool IsExpectation() const { return words.starts_with("expect"); }
  // The step as help shows it.
  std::string Usage() const;
};

std::span<const StepRow> StepRows();

Step ReadStep(std::string_view line);

// Why the line cannot be performed during a session; empty when it can.
std::string WhyNotPerformable(const Step& step);

// The words of the steps that begin with a typed text.
std::vector<std::string> StepsThatBegin(std::string_view typed);

// All steps with what they do, for a terminal of 80 columns.
std::string StepsHelp();

// One row of such a list: a name, and what it means in a column of its own.
std::string HelpRow(std::string_view name, std::string_view meaning);

#endif  // SIMULATOR_STEPS_H_

// What torvy-simulator is asked for on its command line.

#ifndef SIMULATOR_COMMAND_LINE_H_
#define SIMULATOR_COMMAND_LINE_H_

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "simulator/session.h"

struct Options {
  Session::Setup setup;
  std::string script;  // "-" for standard input; empty for the demonstration
  std::string record;  // where to record to; empty for nowhere
  std::string color = "auto";
  bool interactive = false;
  bool stand_in = false;
  bool verbose = false;
};

// What is wrong with a command line.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An option as help shows it.
struct OptionRow {
  std::string names;  // "-h, --help"
  std::string value;  // "PATH", or empty
  std::string help;
};
std::vector<OptionRow> OptionRows();

// The options, or a text to show instead: help, or the version. Throws UsageError.
std::variant<Options, std::string> ReadCommandLine(int argument_count, const char* const* argument_values);

#endif  // SIMULATOR_COMMAND_LINE_H_

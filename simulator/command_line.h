// The command line of torvy-simulator.

#ifndef SIMULATOR_COMMAND_LINE_H_
#define SIMULATOR_COMMAND_LINE_H_

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "simulator/session.h"

struct Options {
  Session::Setup setup;
  std::string device;  // ADDRESS:PORT as given; so is the next
  std::string listen;
  std::string script;  // "-" for standard input; empty for the demonstration
  std::string record;  // file to record to; empty for none
  std::string link;    // symbolic link to the stand-in's pseudo-terminal; empty for none
  std::string color = "auto";
  std::string time;  // empty for the usual one
  bool interactive = false;
  bool stand_in = false;
  bool verbose = false;
  bool yes = false;  // the demonstration may move real units
};

// What is wrong with a command line.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An option, as help shows it.
struct OptionRow {
  std::string names;  // "-h, --help"
  std::string value;  // "PATH", or empty
  std::string help;
};
std::vector<OptionRow> OptionRows();

// The options, or a text to show instead: help, or the version. Throws UsageError.
std::variant<Options, std::string> ReadCommandLine(int argument_count, const char* const* argument_values);

#endif  // SIMULATOR_COMMAND_LINE_H_

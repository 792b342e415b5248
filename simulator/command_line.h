// The command line of torvy-simulator.

#pragma once

#include <string>
#include <variant>
#include <vector>

#include "simulator/script.h"
#include "simulator/session.h"

struct Options {
  Session::Setup setup;
  bool over_ip = false;
  std::string port;       // the real device's serial port; empty for none
  std::string other_end;  // the port at the other end of that line; empty for none
  std::string device;     // ADDRESS:PORT as given
  std::string listen;     // ADDRESS:PORT as given
  std::string script;     // "-" for standard input; empty for the demonstration
  std::string link;       // symbolic link to the stand-in's pseudo-terminal; empty for none
  std::string color = "auto";
  std::string time;  // empty for the default
  bool interactive = false;
  bool stand_in = false;
  bool verbose = false;
  bool yes = false;  // allow the demonstration to move real units
};

// An option as shown in the help.
struct OptionRow {
  std::string usage;  // "--link PATH"
  std::string help;
};
std::vector<OptionRow> OptionRows();

// Returns the options, or a text to show instead (help or version). Throws InputError if an argument is invalid.
std::variant<Options, std::string> ReadCommandLine(int argument_count, const char* const* argument_values);

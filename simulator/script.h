// A script: steps read from a file and checked before the first is performed.

#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/steps.h"

// An invalid command line or script.
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Script {
  std::string name;
  std::optional<bool> over_ip;  // set by a first step `over ip` or `over serial`
  std::vector<Step> steps;
};

// Reads a script from a file, or from standard input if `path` is "-". Throws InputError if it cannot be read,
// contains no steps or contains an invalid line.
Script ReadScript(const std::string& path);

// The units that the demonstration moves.
inline const std::string kDemonstrationUnits = "0102 and 0304";

// Returns the script that is played if none is named.
Script Demonstration();

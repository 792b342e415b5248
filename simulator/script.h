// A script: steps from a file, parsed and checked before any is performed.

#ifndef SIMULATOR_SCRIPT_H_
#define SIMULATOR_SCRIPT_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/steps.h"

// Why a script cannot be played.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Script {
  struct Line {
    int number = 0;
    Step step;
  };
  std::string name;
  std::optional<bool> over_ip;  // from its first step, if that says how the device is reached
  std::vector<Line> lines;

  // "name:number", as compilers print it.
  std::string Position(const Line& line) const { return name + ":" + std::to_string(line.number); }
};

// Reads a script from a file, or from standard input for "-". Throws ScriptError when it cannot be read, holds no step
// or holds a line that is none.
Script ReadScript(const std::string& path);

// The session that is played when no script is named.
Script Demonstration();

#endif  // SIMULATOR_SCRIPT_H_

// A script: steps from a file, read and found right before any is carried out.

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
  std::optional<bool> over_ip;  // what its first step says, if it says so
  std::vector<Line> lines;

  // Where the line stands, as compilers say it.
  std::string Place(const Line& line) const { return name + ":" + std::to_string(line.number); }
};

// Reads a script from a file, or from standard input for "-". Throws ScriptError when it cannot be read, holds no step
// or a line that is none.
Script ReadScript(const std::string& path);

// The session that the simulator plays when it is given nothing else.
Script Demonstration();

#endif  // SIMULATOR_SCRIPT_H_

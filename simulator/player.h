// Plays the steps of a session from a script, from a pipe, or as they are typed.

#ifndef SIMULATOR_PLAYER_H_
#define SIMULATOR_PLAYER_H_

#include <string>
#include <string_view>

#include "simulator/script.h"
#include "simulator/session.h"

class Player {
 public:
  explicit Player(Session& session) : session_(session) {}

  // Plays a script up to its first step that fails. When the device is not visible, steps that need it are left out.
  void PlayScript(const Script& script);
  // Performs each line of standard input as it comes, to the end of it or of the driver.
  void PlayPipe();
  // The same at a terminal, with line editing.
  void PlayTerminal();

  // Whether a step failed, and whether a line was no step. At a terminal a mistyped line does not count, nor does what
  // was left with Ctrl-C, unless it was an expectation.
  bool Failed() const { return failed_; }
  bool HadWrongLine() const { return had_wrong_line_; }

 private:
  void PlayLine(std::string_view line, const std::string& position);

  Session& session_;
  bool failed_ = false;
  bool had_wrong_line_ = false;
};

#endif  // SIMULATOR_PLAYER_H_

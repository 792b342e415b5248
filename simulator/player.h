// Plays the steps of a session from a script, a pipe or the terminal.

#ifndef SIMULATOR_PLAYER_H_
#define SIMULATOR_PLAYER_H_

#include <string>
#include <string_view>

#include "simulator/script.h"
#include "simulator/session.h"

class Player {
 public:
  explicit Player(Session& session) : session_(session) {}

  // Plays a script up to the first step that fails. Skips steps that need a visible device if it is not visible.
  void PlayScript(const Script& script);
  // Performs each line of standard input as it arrives, until the input or the driver ends.
  void PlayPipe();
  // The same at a terminal, with line editing; also ends after `quit`.
  void PlayTerminal();

  // Whether a step failed, and whether a line was not a valid step. At a terminal, a mistyped line does not count, and
  // a step ended by Ctrl-C counts only if it was an expectation.
  bool Failed() const { return failed_; }
  bool HadWrongLine() const { return had_wrong_line_; }

 private:
  void PlayLine(std::string_view line, const std::string& position);

  Session& session_;
  bool failed_ = false;
  bool had_wrong_line_ = false;
};

#endif  // SIMULATOR_PLAYER_H_

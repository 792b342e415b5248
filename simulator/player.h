// Plays a session's steps: from a script, from a pipe, or as somebody types them.

#ifndef SIMULATOR_PLAYER_H_
#define SIMULATOR_PLAYER_H_

#include <string>
#include <string_view>

#include "simulator/script.h"
#include "simulator/session.h"

class Player {
 public:
  explicit Player(Session& session) : session_(session) {}

  // Plays a script up to its first step that does not go as it should. Without sight of the device, steps that need it
  // are left out.
  void PlayScript(const Script& script, bool sight);
  // Carries out each line of standard input as it comes, to the end of it or of the driver.
  void PlayPipe();
  // As PlayPipe, for somebody at a terminal, with line editing.
  void PlayTerminal();

  // Whether a step did not go as it should, and whether a line was none. What was left with Ctrl-C, or mistyped at a
  // terminal, does not count.
  bool Failed() const { return failed_; }
  bool HadWrongLine() const { return had_wrong_line_; }

 private:
  void PlayLine(std::string_view line, const std::string& place);

  Session& session_;
  bool failed_ = false;
  bool had_wrong_line_ = false;
};

#endif  // SIMULATOR_PLAYER_H_

// Plays the steps of a session from a script, a pipe or the terminal.

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/expectations.h"
#include "simulator/script.h"
#include "simulator/session.h"

class Player {
 public:
  // The session must outlive the player.
  explicit Player(Session& session) : session_(session), expectations_(session) {}

  // Waits until the driver is ready for commands; returns whether it is.
  bool Start();
  // Plays a script up to the first step that fails. Skips steps that need an observable device if it cannot be
  // observed.
  void PlayScript(const Script& script);
  // Performs each line of standard input as it arrives, until the input or the driver ends.
  void PlayPipe();
  // The same at a terminal, with line editing; also ends after `quit`.
  void PlayTerminal();
  // Asks the driver to quit, unless it was asked or has ended, and waits for its end. Returns whether the session
  // passed: no step failed, and Verdict returns true. At a terminal, a step that was ended with Ctrl-C counts as failed
  // only if it was an expectation.
  bool Finish();
  // Whether a step was invalid. At a terminal, a mistyped step does not count.
  bool HadInvalidStep() const { return had_invalid_step_; }

 private:
  void PlayLine(std::string_view line, std::optional<std::string> position);
  bool Perform(const Step& step);
  // Performs an action. If it throws StepFailed, shows the reason in the transcript and returns false. `step` is the
  // action's step, if it has one.
  bool Try(const std::function<void()>& action, const Step& step = {});

  Session& session_;
  Expectations expectations_;
  bool failed_ = false;
  bool had_invalid_step_ = false;
};

// Catches signals and records them for polling: those that ask the process to end, so that the simulator can clean up
// first, and those of the terminal.

#ifndef SIMULATOR_SIGNALS_H_
#define SIMULATOR_SIGNALS_H_

namespace signals {

// Installs handlers for SIGINT, SIGTERM, SIGHUP and SIGQUIT, which until then end the process. Unblocks SIGTTOU, so
// that the system stops a background process that is about to change the mode of its terminal.
void Catch();

// Whether Ctrl-C was pressed or the process was asked to terminate.
bool IsPending();

// Whether the process was asked to terminate: by SIGTERM, by Ctrl-\, or by SIGHUP when its terminal was closed.
bool TerminationIsPending();

// Clears Ctrl-C; returns whether it was pressed.
bool TakeInterrupt();

// Clears all of these signals, so that the end of the session can be interrupted again.
void Clear();

// While an instance exists, Ctrl-Z first restores the terminal settings that were in effect when it was created, then
// acts as usual. At most one instance at a time.
class WhileEditing {
 public:
  WhileEditing();
  // Restores the default actions.
  ~WhileEditing();
  WhileEditing(const WhileEditing&) = delete;
  WhileEditing& operator=(const WhileEditing&) = delete;

  // Whether the process was continued since the last call; the editor must then set up the terminal again.
  static bool TakeContinued();
  // Whether the terminal was resized since the last call.
  static bool TakeResized();
};

}  // namespace signals

#endif  // SIMULATOR_SIGNALS_H_

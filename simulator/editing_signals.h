// Handles terminal signals during line editing, while the editor has changed the terminal's mode.

#ifndef SIMULATOR_EDITING_SIGNALS_H_
#define SIMULATOR_EDITING_SIGNALS_H_

// While an instance exists, Ctrl-Z and Ctrl-\ first restore the terminal settings that were in effect when it was
// created, then act as usual. At most one instance at a time.
class EditingSignals {
 public:
  EditingSignals();
  // Restores the default actions.
  ~EditingSignals();
  EditingSignals(const EditingSignals&) = delete;
  EditingSignals& operator=(const EditingSignals&) = delete;

  // Whether the process was continued since the last call; the editor must then set up the terminal again.
  static bool TakeContinued();
  // Whether the terminal was resized since the last call.
  static bool TakeResized();
};

#endif  // SIMULATOR_EDITING_SIGNALS_H_

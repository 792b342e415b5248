// Signals at the terminal while a line is edited, when the terminal is in a mode of the editor's own.

#ifndef SIMULATOR_EDITING_SIGNALS_H_
#define SIMULATOR_EDITING_SIGNALS_H_

// Ctrl-Z and Ctrl-\ act as usual, but give the terminal back first, as it was when this was made. At most one at a
// time.
class EditingSignals {
 public:
  EditingSignals();
  // Restores the default actions.
  ~EditingSignals();
  EditingSignals(const EditingSignals&) = delete;
  EditingSignals& operator=(const EditingSignals&) = delete;

  // Whether the process was continued since the last call: the editor has to take the terminal over again.
  static bool TakeContinued();
  // Whether the terminal's size has changed since the last call.
  static bool TakeResized();
};

#endif  // SIMULATOR_EDITING_SIGNALS_H_

// Reads lines at the terminal, with editing, history and completion, while the session goes on.

#ifndef SIMULATOR_LINE_EDITOR_H_
#define SIMULATOR_LINE_EDITOR_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulator/transcript.h"

class LineEditor {
 public:
  // The transcript, which must outlive the editor, shows its lines above the one that is edited.
  explicit LineEditor(Transcript& transcript);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Runs the event pump until a line was typed, and returns it without its end. None at the end of input, when
  // `is_over` says so, or when the process is asked to terminate. Ctrl-C drops what was typed.
  std::optional<std::string> ReadLine(const std::function<bool()>& is_over);

 private:
  class Terminal;
  std::unique_ptr<Terminal> terminal_;
};

#endif  // SIMULATOR_LINE_EDITOR_H_

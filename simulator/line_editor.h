// Reads lines from the terminal, with editing, history and completion, while the session runs.

#ifndef SIMULATOR_LINE_EDITOR_H_
#define SIMULATOR_LINE_EDITOR_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulator/transcript.h"

class LineEditor {
 public:
  // The transcript, which must outlive the editor, prints its lines above the line being edited.
  explicit LineEditor(Transcript& transcript);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Runs the event pump until a line is typed; returns it without the line end. Returns nothing at the end of input,
  // when `is_over` returns true, or when the process is asked to terminate. Ctrl-C discards the line.
  std::optional<std::string> ReadLine(const std::function<bool()>& is_over);

 private:
  class Terminal;
  std::unique_ptr<Terminal> terminal_;
};

#endif  // SIMULATOR_LINE_EDITOR_H_

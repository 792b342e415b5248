// Reads lines from the terminal, with editing, history and completion, while the session runs.

#pragma once

#include <functional>
#include <string>

#include "simulator/transcript.h"

// Calls `perform` for each line that is typed, without its line end, and runs the event pump in between. The transcript
// prints its lines above the line being edited. Ctrl-C discards the line. Returns at the end of input, when `is_over`
// returns true, or when the process is asked to terminate.
void EditLines(Transcript& transcript, const std::function<bool()>& is_over,
               const std::function<void(const std::string&)>& perform);

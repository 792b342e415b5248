// Catches the signals that ask the process to end and records them for polling, so that the simulator can clean up
// first.

#pragma once

namespace signals {

// Installs handlers for SIGINT, SIGTERM, SIGHUP and SIGQUIT, which until then end the process. Unblocks SIGTTOU, so
// that the system stops a background process that is about to change the mode of its terminal.
void Catch();

// Whether Ctrl-C was pressed or the process was asked to terminate: by SIGTERM, by Ctrl-\, or by SIGHUP when its
// terminal was closed.
bool IsPending();

// Clears Ctrl-C; returns whether it was pressed.
bool TakeInterrupt();

// Clears all of these signals, so that the end of the session can be interrupted again.
void Clear();

}  // namespace signals

// Records signals that ask the process to end; the session polls them, so that it can end in order.

#ifndef SIMULATOR_INTERRUPTION_H_
#define SIMULATOR_INTERRUPTION_H_

namespace interruption {

// Installs handlers for SIGINT, SIGTERM and SIGHUP, which until then end the process.
void CatchSignals();

// Whether Ctrl-C was pressed or the process was asked to terminate.
bool IsPending();

// Whether the process was asked to terminate: by SIGTERM, or by SIGHUP when its terminal was closed.
bool TerminationIsPending();

// Clears Ctrl-C; returns whether it was pressed.
bool TakeInterrupt();

// Clears both flags, so that later steps can be interrupted again.
void Clear();

}  // namespace interruption

#endif  // SIMULATOR_INTERRUPTION_H_

// Signals that ask the process to end are recorded and polled, so that a session ends in order.

#ifndef SIMULATOR_INTERRUPTION_H_
#define SIMULATOR_INTERRUPTION_H_

namespace interruption {

// Installs the handlers of SIGINT, SIGTERM and SIGHUP. Until then they end the process.
void CatchSignals();

// Whether Ctrl-C was pressed, or the process was asked to terminate.
bool IsPending();

// Whether the process was asked to terminate: SIGTERM, or SIGHUP of a terminal that was closed.
bool TerminationIsPending();

// Clears Ctrl-C; returns whether it was pressed.
bool TakeInterrupt();

// Clears both. What follows can be interrupted again.
void Clear();

}  // namespace interruption

#endif  // SIMULATOR_INTERRUPTION_H_

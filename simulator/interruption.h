// Ctrl-C, and being asked to end from outside: kept until somebody looks, so that every session ends in order.

#ifndef SIMULATOR_INTERRUPTION_H_
#define SIMULATOR_INTERRUPTION_H_

namespace interruption {

// From now on the signals that would end the process are noted instead.
void Watch();

// Whether Ctrl-C was pressed, or the process was asked to end.
bool IsPending();

// Whether the process was asked to end by other means than Ctrl-C, such as a terminal that was closed. Stays so.
bool IsEnd();

// Forgets Ctrl-C; returns whether there was one.
bool Take();

}  // namespace interruption

#endif  // SIMULATOR_INTERRUPTION_H_

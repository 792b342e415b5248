// The interface alone, for a real host and the driver that it starts.

#ifndef SIMULATOR_STAND_IN_H_
#define SIMULATOR_STAND_IN_H_

#include "simulator/device.h"
#include "simulator/transcript.h"

// Says how the interface is to be named in the host's settings, and shows what reaches it until Ctrl-C; with `watch` as
// a view of the units, rewritten in place if the terminal has lines for it. Throws std::system_error when the place
// cannot be had.
void RunStandIn(const Device::Place& place, bool watch, bool on_terminal, Transcript& transcript);

#endif  // SIMULATOR_STAND_IN_H_

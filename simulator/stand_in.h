// The interface alone, for a real host and the driver that it starts.

#ifndef SIMULATOR_STAND_IN_H_
#define SIMULATOR_STAND_IN_H_

#include "simulator/device.h"
#include "simulator/transcript.h"

// Says how the interface is to be named in the host's settings, and shows what reaches it until Ctrl-C. Throws
// std::system_error when the place cannot be had.
void RunStandIn(const Device::Place& place, Transcript& transcript);

#endif  // SIMULATOR_STAND_IN_H_

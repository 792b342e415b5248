// The interface alone, for a real host and the driver that it starts.

#ifndef SIMULATOR_STAND_IN_H_
#define SIMULATOR_STAND_IN_H_

#include <string>

#include "simulator/device.h"
#include "simulator/transcript.h"

// Says how the interface is to be named in the host's settings, and shows what reaches it until Ctrl-C. A link, unless
// its path is empty, leads to the pseudo-terminal meanwhile. Throws std::system_error when the endpoint cannot be
// opened or the link cannot be made.
void RunStandIn(const Device::Endpoint& endpoint, const std::string& link, Transcript& transcript);

#endif  // SIMULATOR_STAND_IN_H_

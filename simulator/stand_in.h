// Simulates only the interface, for a real host and the driver that it starts.

#pragma once

#include <string>

#include "simulator/device.h"
#include "simulator/transcript.h"

// Prints what to enter in the host's settings, and shows what the interface receives until Ctrl-C. If `link` is not
// empty, creates a symbolic link at that path to the pseudo-terminal and removes it at the end. Throws
// std::system_error if the endpoint cannot be opened or the link cannot be created.
void RunStandIn(const Device::Endpoint& endpoint, const std::string& link, Transcript& transcript);

// What a script can do to the two links and to the driver's process, by name.

#ifndef SIMULATOR_FAULT_H_
#define SIMULATOR_FAULT_H_

#include <string_view>

#include "peers/channel.h"
#include "peers/child_process.h"

struct FaultTargets {
  Channel& host;    // the host's end of its link
  Channel& device;  // the device's end
  ChildProcess& driver;
};

// Whether there is a fault of that name.
bool IsFault(std::string_view name);

// Brings the fault about at once.
void Inject(std::string_view name, const FaultTargets& targets);

// The names, with what they do.
extern const char* const kFaultHelp;

#endif  // SIMULATOR_FAULT_H_

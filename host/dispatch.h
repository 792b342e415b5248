// Acts on what the host sends: controller commands for this process here, all else through the device driver.

#ifndef HOST_DISPATCH_H_
#define HOST_DISPATCH_H_

#include "message/quorvane_command.h"

// Carries out one parsed message. Called for each, in the order of arrival, from inside the host socket's
// data event. A message that needs the driver or the port before there is one is dropped.
void DispatchHostCommand(const cQuorvaneCommand& message);

#endif  // HOST_DISPATCH_H_

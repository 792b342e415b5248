// Dispatches the host's messages: controller commands are carried out here, all others go to the device driver.

#ifndef HOST_DISPATCH_H_
#define HOST_DISPATCH_H_

#include "message/quorvane_command.h"

// Acts on one message. The host socket calls it for each, in order of arrival, from its data event. A message that
// needs the driver or the port before there is one is dropped.
void DispatchHostCommand(const cQuorvaneCommand& message);

#endif  // HOST_DISPATCH_H_

// Dispatches the host's messages: executes controller commands and passes all other messages to the device driver.

#pragma once

#include "message/quorvane_command.h"

// Handles one message. The host socket calls it for each message, in order of arrival, from its data event. Drops a
// message that needs the driver or the port if there is none yet.
void DispatchHostCommand(const cQuorvaneCommand& message);

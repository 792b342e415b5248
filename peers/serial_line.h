// The interface's end of a real serial line: another port of this computer, connected to the driver's by a null modem.

#pragma once

#include <string>

#include "platform/descriptor.h"

// Opens a port with the interface's settings: 9600 baud, 8 data bits, no parity, raw. Discards pending input. Like the
// driver, looks up a name without a slash under /dev. Throws std::system_error if the port cannot be opened or is not a
// terminal.
platform::Descriptor OpenSerialLine(const std::string& name);

// The interface's end of a real serial line: another port of this computer, joined to the driver's by a null modem.

#ifndef PEERS_SERIAL_LINE_H_
#define PEERS_SERIAL_LINE_H_

#include <string>

#include "platform/descriptor.h"

// Opens a port as the interface does: 9600 baud, 8 data bits, no parity, raw. Pending input is discarded. A name
// without a slash is looked up under /dev, as the driver does. Throws std::system_error when it cannot be opened or is
// no terminal.
platform::Descriptor OpenSerialLine(const std::string& name);

#endif  // PEERS_SERIAL_LINE_H_

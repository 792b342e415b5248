// The interface's end of a real serial line: another port of this computer, joined to the driver's by a null modem.

#ifndef PEERS_SERIAL_LINE_H_
#define PEERS_SERIAL_LINE_H_

#include <string>

#include "platform/descriptor.h"

// Opens the port at a path as the interface has it: 9600 bits a second, 8 data bits, no parity, every byte as it is.
// What waited in it is discarded. Throws std::system_error when it cannot be opened or is no terminal.
platform::Descriptor OpenSerialLine(const std::string& path);

#endif  // PEERS_SERIAL_LINE_H_

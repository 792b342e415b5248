// Wrappers for calls that some systems lack. Used only by the platform layer and by peers.

#ifndef PLATFORM_PORTABLE_H_
#define PLATFORM_PORTABLE_H_

#include <cstddef>

#include "platform/descriptor.h"

namespace platform {

// Returns a stream socket that is non-blocking and close-on-exec; on failure, it is not open and errno is set.
Descriptor OpenStreamSocket(int family);

// Returns the number of bytes that a serial line has not yet sent; 0 if the system does not report it.
std::size_t OutputWaiting(int line);

}  // namespace platform

#endif  // PLATFORM_PORTABLE_H_

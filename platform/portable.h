// What only some systems have, under one name everywhere. Nothing outside the platform layer and the far ends needs it.

#ifndef PLATFORM_PORTABLE_H_
#define PLATFORM_PORTABLE_H_

#include <chrono>
#include <cstddef>

#include "platform/descriptor.h"

struct pollfd;

namespace platform {

// ppoll without a signal mask. Where there is none, poll with the limit rounded up to the next millisecond: no wait
// ends early, and none is split into a busy tail.
int WaitForEvents(pollfd* polled, std::size_t count, std::chrono::nanoseconds limit);

// A stream socket that is non-blocking and close-on-exec; not open, with errno set, when there is none to be had.
Descriptor OpenStreamSocket(int family);

// How many bytes a line has yet to send; 0 where the system does not tell.
std::size_t OutputWaiting(int line);

}  // namespace platform

#endif  // PLATFORM_PORTABLE_H_

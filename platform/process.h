// Process setup that the platform layer relies on.

#ifndef PLATFORM_PROCESS_H_
#define PLATFORM_PROCESS_H_

namespace platform {

// Prepares the process. Call once, before anything else in this layer; RunApplication does so. Opens /dev/null on
// standard descriptors that are closed, ignores SIGPIPE and SIGXFSZ, blocks SIGTTOU, and makes SIGALRM interrupt
// blocking calls (CallTimeout).
void PrepareProcess();

}  // namespace platform

#endif  // PLATFORM_PROCESS_H_

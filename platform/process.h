// Set-up of the process that the platform layer relies on.

#ifndef PLATFORM_PROCESS_H_
#define PLATFORM_PROCESS_H_

namespace platform {

// To be called by main, once, before anything else of this layer. Opens standard descriptors that are closed on
// /dev/null. Ignores SIGPIPE and SIGXFSZ, blocks SIGTTOU, and has SIGALRM end blocking calls (CallLimit).
void PrepareProcess();

}  // namespace platform

#endif  // PLATFORM_PROCESS_H_

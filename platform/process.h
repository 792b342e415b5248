// Process setup that the platform layer relies on.

#pragma once

namespace platform {

// Prepares the process. Call once, before anything else in this layer; RunApplication does so. Opens /dev/null on
// standard descriptors that are closed, ignores SIGPIPE and SIGXFSZ, blocks SIGTTOU, and makes SIGALRM interrupt
// blocking calls (CallTimeout).
void PrepareProcess();

}  // namespace platform

#include "platform/portable.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace platform {
Descriptor OpenStreamSocket(int family) {
#ifdef SOCK_CLOEXEC
  return Descriptor(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
#else
  Descriptor opened(socket(family, SOCK_STREAM, 0));
  if (opened.IsOpen()) fcntl(opened.Number(), F_SETFL, O_NONBLOCK);
  return opened;
#endif
}

std::size_t OutputWaiting([[maybe_unused]] int line) {
  int waiting = 0;
#ifdef TIOCOUTQ
  if (ioctl(line, TIOCOUTQ, &waiting) != 0) return 0;
#endif
  return static_cast<std::size_t>(waiting);
}

}  // namespace platform

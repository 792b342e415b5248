// The fortified ppoll of Debian 12's C library takes a timespec with 32-bit times on a 32-bit machine, even if time_t
// has 64 bits.
#undef _FORTIFY_SOURCE

#include "platform/portable.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>

#include "platform/clock.h"

namespace platform {
namespace {

// A template, so that it compiles on systems that do not declare ppoll.
template <typename Polled>
int Wait(Polled* polled, nfds_t count, std::chrono::nanoseconds limit) {
  if constexpr (requires(const timespec time) { ppoll(polled, count, &time, nullptr); }) {
    const timespec time = ToTimespec(limit);
    return ppoll(polled, count, &time, nullptr);
  } else {
    return poll(polled, count, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(limit).count()));
  }
}

}  // namespace

int WaitForEvents(pollfd* polled, std::size_t count, std::chrono::nanoseconds limit) {
  return Wait(polled, static_cast<nfds_t>(count), limit);
}

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

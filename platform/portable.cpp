// Debian 12's C library checks a ppoll that takes its time for one of 32 bits, where time has 64 on a 32-bit machine.
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

// A template, so that a system without ppoll needs no declaration of it.
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

#include "platform/console.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/call_timeout.h"
#include "platform/clock.h"
#include "platform/stall_timer.h"

namespace platform {
namespace {

StallTimer stall_timer{std::chrono::seconds(1)};

// Writes some of the bytes; returns their number, or 0 if the console accepts none.
std::size_t WriteSome(std::string_view bytes) {
  while (true) {
    const auto start = MonotonicNow();
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(stall_timer.TimeLeft());
    pollfd console{STDOUT_FILENO, POLLOUT, 0};
    ssize_t written = poll(&console, 1, static_cast<int>(limit.count()));
    if (written > 0) {
      // The write blocks if a terminal has room, but not for all bytes.
      const CallTimeout timeout(stall_timer.TimeLeft());
      written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    }
    const int error = errno;
    stall_timer.Charge(MonotonicNow() - start);
    if (written >= 0) return static_cast<std::size_t>(written);
    if (error != EINTR || stall_timer.TimeLeft().count() == 0) return 0;
  }
}

void Print(std::string_view text) {
  // A pipe that polls as writable accepts this many bytes: the smallest PIPE_BUF that POSIX allows.
  constexpr std::size_t kMaxPiece = 512;
  while (!text.empty()) {
    const std::size_t written = WriteSome(text.substr(0, kMaxPiece));
    if (written == 0) return;
    text.remove_prefix(written);
  }
}

}  // namespace

void PrintLine(std::string_view text) {
  Print(text);
  Print("\n");
}

}  // namespace platform

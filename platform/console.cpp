#include "platform/console.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace platform {
namespace {

void Print(std::string_view rest) {
  constexpr int kPatienceMilliseconds = 1000;
  while (!rest.empty()) {
    // A stuck terminal must not hold up the process: ask for room first, and give up after a while.
    pollfd console{STDOUT_FILENO, POLLOUT, 0};
    const int ready = poll(&console, 1, kPatienceMilliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return;
    const ssize_t written = write(STDOUT_FILENO, rest.data(), rest.size());
    if (written < 0 && errno != EINTR && errno != EAGAIN) return;
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

void PrintLine(std::string_view text) {
  Print(std::string(text) + '\n');
}

void PrintLineAndEmptyLine(std::string_view text) {
  Print(std::string(text) + "\n\n");
}

}  // namespace platform

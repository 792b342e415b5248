#include "platform/console.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include "platform/call_limit.h"
#include "platform/clock.h"

namespace platform {
namespace {

std::chrono::nanoseconds patience_left = std::chrono::seconds(1);

// Writes some of the bytes; returns how many, 0 when the console takes none. A stuck one must not hold up the process:
// it is asked for room first, and a terminal that has too little of it blocks no longer than the patience lasts.
std::size_t WriteSome(std::string_view bytes) {
  const auto start = MonotonicNow();
  pollfd console{STDOUT_FILENO, POLLOUT, 0};
  const int limit = static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(patience_left).count());
  int ready = 0;
  do {
    ready = poll(&console, 1, limit);
  } while (ready < 0 && errno == EINTR);
  ssize_t written = 0;
  if (ready > 0) {
    const CallLimit call_limit(patience_left);
    written = write(STDOUT_FILENO, bytes.data(), bytes.size());
  }
  patience_left -= std::min(patience_left, MonotonicNow() - start);
  return static_cast<std::size_t>(std::max<ssize_t>(written, 0));
}

// Writes two texts after each other, in pieces for which a pipe that has room at all has room.
void Print(std::string_view text, std::string_view ending) {
  std::array<char, 512> piece{};
  while (!text.empty() || !ending.empty()) {
    const std::size_t of_text = text.copy(piece.data(), piece.size());
    const std::size_t of_ending =
        of_text < text.size() ? 0 : ending.copy(piece.data() + of_text, piece.size() - of_text);
    const std::size_t written = WriteSome({piece.data(), of_text + of_ending});
    if (written == 0) return;
    const std::size_t written_of_text = std::min(written, of_text);
    text.remove_prefix(written_of_text);
    ending.remove_prefix(written - written_of_text);
  }
}

}  // namespace

void PrintLine(std::string_view text) {
  Print(text, "\n");
}

void PrintLineAndEmptyLine(std::string_view text) {
  Print(text, "\n\n");
}

}  // namespace platform

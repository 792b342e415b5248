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

// Writes some of the bytes; returns how many, or 0 if the console accepts none.
std::size_t WriteSome(std::string_view bytes) {
  while (true) {
    const auto start = MonotonicNow();
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(patience_left);
    pollfd console{STDOUT_FILENO, POLLOUT, 0};
    ssize_t written = poll(&console, 1, static_cast<int>(limit.count()));
    if (written == 0) patience_left = std::chrono::nanoseconds::zero();
    if (written > 0) {
      // The write blocks if a terminal has room, but not for all bytes.
      const CallLimit call_limit(patience_left);
      written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    }
    const int error = errno;
    patience_left -= std::min(patience_left, MonotonicNow() - start);
    if (written >= 0) return static_cast<std::size_t>(written);
    if (error != EINTR || patience_left.count() == 0) return 0;
  }
}

// Writes both texts, in pieces of at most 512 bytes (the smallest PIPE_BUF): a pipe that polls as writable accepts that
// many.
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

#include "simulator/signals.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <utility>

namespace signals {
namespace {

constexpr auto kEnding = std::to_array({SIGINT, SIGTERM, SIGHUP, SIGQUIT});

std::array<volatile std::sig_atomic_t, NSIG> received{};  // by signal number

extern "C" void NoteSignal(int signal) {
  received.at(static_cast<std::size_t>(signal)) = 1;
}

bool Take(int signal) {
  return std::exchange(received.at(static_cast<std::size_t>(signal)), 0) != 0;
}

}  // namespace

void Catch() {
  for (const int signal : kEnding) {
    // If the parent process ignores a signal, as nohup does, keep ignoring it.
    if (std::signal(signal, SIG_IGN) != SIG_IGN) std::signal(signal, NoteSignal);
  }
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  sigprocmask(SIG_UNBLOCK, &stop, nullptr);
}

bool IsPending() {
  return std::ranges::any_of(kEnding, [](int signal) { return received.at(static_cast<std::size_t>(signal)) != 0; });
}

bool TakeInterrupt() {
  return Take(SIGINT);
}

void Clear() {
  for (const int signal : kEnding) Take(signal);
}

}  // namespace signals

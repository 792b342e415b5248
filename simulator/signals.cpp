#include "simulator/signals.h"

#include <csignal>
#include <utility>

namespace signals {
namespace {

volatile std::sig_atomic_t interrupted = 0;
volatile std::sig_atomic_t terminated = 0;

extern "C" void NoteSignal(int signal) {
  (signal == SIGINT ? interrupted : terminated) = 1;
}

}  // namespace

void Catch() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    // If the parent process ignores a signal, as nohup does, keep ignoring it.
    if (std::signal(signal, SIG_IGN) != SIG_IGN) std::signal(signal, NoteSignal);
  }
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  sigprocmask(SIG_UNBLOCK, &stop, nullptr);
}

bool IsPending() {
  return interrupted != 0 || terminated != 0;
}

bool TakeInterrupt() {
  return std::exchange(interrupted, 0) != 0;
}

void Clear() {
  interrupted = 0;
  terminated = 0;
}

}  // namespace signals

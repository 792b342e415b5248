#include "simulator/interruption.h"

#include <csignal>
#include <initializer_list>

namespace interruption {
namespace {

volatile std::sig_atomic_t interrupted = 0;
volatile std::sig_atomic_t end_asked = 0;

extern "C" void NoteSignal(int signal) {
  (signal == SIGINT ? interrupted : end_asked) = 1;
}

}  // namespace

void Watch() {
  struct sigaction action{};
  action.sa_handler = NoteSignal;  // NOLINT(cppcoreguidelines-pro-type-union-access): the C library made it one
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

bool IsPending() {
  return interrupted != 0 || end_asked != 0;
}

bool IsEnd() {
  return end_asked != 0;
}

bool Take() {
  const bool taken = interrupted != 0;
  interrupted = 0;
  return taken;
}

}  // namespace interruption

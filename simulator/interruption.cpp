#include "simulator/interruption.h"

#include <csignal>
#include <initializer_list>

namespace interruption {
namespace {

volatile std::sig_atomic_t interrupted = 0;
volatile std::sig_atomic_t termination_asked = 0;

extern "C" void NoteSignal(int signal) {
  (signal == SIGINT ? interrupted : termination_asked) = 1;
}

}  // namespace

void CatchSignals() {
  struct sigaction action{};
  action.sa_handler = NoteSignal;  // NOLINT(cppcoreguidelines-pro-type-union-access): a union in the C library
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

bool IsPending() {
  return interrupted != 0 || termination_asked != 0;
}

bool TerminationIsPending() {
  return termination_asked != 0;
}

bool TakeInterrupt() {
  const bool taken = interrupted != 0;
  interrupted = 0;
  return taken;
}

void Clear() {
  interrupted = 0;
  termination_asked = 0;
}

}  // namespace interruption

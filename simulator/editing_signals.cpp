#include "simulator/editing_signals.h"

#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>
#include <utility>

namespace {

termios usual_settings{};
volatile std::sig_atomic_t continued = 0;
volatile std::sig_atomic_t resized = 0;

// Calls only functions that are safe in a signal handler. SA_RESETHAND has restored the default action.
extern "C" void GiveTerminalBack(int signal) {
  tcsetattr(STDIN_FILENO, TCSANOW, &usual_settings);
  raise(signal);
  continued = 1;  // or never stopped: an orphaned process group ignores the stop
}

extern "C" void NoteContinued(int /*signal*/) {
  continued = 1;
}

extern "C" void NoteResized(int /*signal*/) {
  resized = 1;
}

void Handle(int signal, void (*handler)(int), int flags) {
  struct sigaction action{};
  action.sa_handler = handler;  // NOLINT(cppcoreguidelines-pro-type-union-access): a union in the C library
  action.sa_flags = flags;
  sigaction(signal, &action, nullptr);
}

void HandleStop() {
  constexpr int kOnce = static_cast<int>(SA_RESETHAND | SA_NODEFER | SA_RESTART);
  Handle(SIGTSTP, GiveTerminalBack, kOnce);
  Handle(SIGQUIT, GiveTerminalBack, kOnce);
}

bool Take(volatile std::sig_atomic_t& flag) {
  const bool taken = flag != 0;
  flag = 0;
  return taken;
}

}  // namespace

EditingSignals::EditingSignals() {
  continued = 0;
  resized = 0;
  tcgetattr(STDIN_FILENO, &usual_settings);
  HandleStop();
  Handle(SIGCONT, NoteContinued, SA_RESTART);
  Handle(SIGWINCH, NoteResized, SA_RESTART);
}

EditingSignals::~EditingSignals() {
  for (const int signal : {SIGTSTP, SIGQUIT, SIGCONT, SIGWINCH}) Handle(signal, SIG_DFL, 0);
}

bool EditingSignals::TakeContinued() {
  const bool taken = Take(continued);
  if (taken) HandleStop();
  return taken;
}

bool EditingSignals::TakeResized() {
  return Take(resized);
}

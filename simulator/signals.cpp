#include "simulator/signals.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <utility>

namespace signals {
namespace {

constexpr std::array kEnding{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::array<volatile std::sig_atomic_t, NSIG> received{};  // by signal number
termios usual_settings{};

extern "C" void NoteSignal(int signal) {
  received.at(static_cast<std::size_t>(signal)) = 1;
}

// Calls only functions that are safe in a signal handler. SA_RESETHAND has restored the default action.
extern "C" void GiveTerminalBack(int signal) {
  tcsetattr(STDIN_FILENO, TCSANOW, &usual_settings);
  raise(signal);
  NoteSignal(SIGCONT);  // even if the system did not stop the process, as in an orphaned process group
}

void Handle(int signal, void (*handler)(int), int flags = SA_RESTART) {
  struct sigaction action{};
  action.sa_handler = handler;  // NOLINT(cppcoreguidelines-pro-type-union-access): a union in the C library
  action.sa_flags = flags;
  sigaction(signal, &action, nullptr);
}

void HandleStop() {
  Handle(SIGTSTP, GiveTerminalBack, static_cast<int>(SA_RESETHAND | SA_NODEFER | SA_RESTART));
}

bool Take(int signal) {
  return std::exchange(received.at(static_cast<std::size_t>(signal)), 0) != 0;
}

}  // namespace

void Catch() {
  for (const int signal : kEnding) {
    // If the parent process ignores a signal, as nohup does, keep ignoring it.
    if (std::signal(signal, SIG_IGN) != SIG_IGN) Handle(signal, NoteSignal);
  }
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  sigprocmask(SIG_UNBLOCK, &stop, nullptr);
}

bool IsPending() {
  return received[SIGINT] != 0 || TerminationIsPending();
}

bool TerminationIsPending() {
  return received[SIGTERM] != 0 || received[SIGHUP] != 0 || received[SIGQUIT] != 0;
}

bool TakeInterrupt() {
  return Take(SIGINT);
}

void Clear() {
  for (const int signal : kEnding) Take(signal);
}

WhileEditing::WhileEditing() {
  Take(SIGCONT);
  Take(SIGWINCH);
  tcgetattr(STDIN_FILENO, &usual_settings);
  HandleStop();
  for (const int signal : {SIGCONT, SIGWINCH}) Handle(signal, NoteSignal);
}

WhileEditing::~WhileEditing() {
  for (const int signal : {SIGTSTP, SIGCONT, SIGWINCH}) Handle(signal, SIG_DFL);
}

bool WhileEditing::TakeContinued() {
  const bool taken = Take(SIGCONT);
  if (taken) HandleStop();
  return taken;
}

bool WhileEditing::TakeResized() {
  return Take(SIGWINCH);
}

}  // namespace signals

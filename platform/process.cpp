#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace platform {
namespace {

void OpenStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // open returns the lowest free number.
    if (fcntl(number, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
}

void SetAction(int signal, void (*action)(int)) {
  struct sigaction settings{};  // without SA_RESTART, so that an alarm interrupts a call
  settings.sa_handler = action;
  sigaction(signal, &settings, nullptr);
}

void SetMask(int how, int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  pthread_sigmask(how, &set, nullptr);
}

}  // namespace

void PrepareProcess() {
  OpenStandardDescriptors();
  SetAction(SIGPIPE, SIG_IGN);
  SetAction(SIGXFSZ, SIG_IGN);  // output beyond the file size limit is dropped
  SetAction(SIGALRM, [](int) {});
  SetMask(SIG_UNBLOCK, SIGALRM);  // may have been inherited as blocked
  // Otherwise a background process would be stopped when its port or console is its controlling terminal.
  SetMask(SIG_BLOCK, SIGTTOU);
}

}  // namespace platform

#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace platform {
namespace {

void OpenStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // open takes the lowest free number.
    if (fcntl(number, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
}

void SetAction(int signal, void (*action)(int)) {
  struct sigaction settings{};  // without SA_RESTART, or an alarm would not end a call
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
  SetAction(SIGXFSZ, SIG_IGN);  // a console that is a file at its size limit loses what does not fit
  SetAction(SIGALRM, [](int) {});
  SetMask(SIG_UNBLOCK, SIGALRM);  // whatever signals we were started with
  // In the background, a port or console that is the controlling terminal would stop the process.
  SetMask(SIG_BLOCK, SIGTTOU);
}

}  // namespace platform

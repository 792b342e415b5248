#include "platform/console_application.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>

#include "platform/event_pump.h"

namespace platform {
namespace {

ConsoleApplication* running_application = nullptr;
std::terminate_handler default_handler = nullptr;

[[noreturn]] void OnTerminate() {
  // A second failure, while this one is reported, must not come back here.
  std::set_terminate(default_handler);
  const Failure failure(CurrentStack());
  if (running_application->Event_UnhandledException(failure)) std::_Exit(EXIT_FAILURE);
  default_handler();
  std::abort();
}

void OpenStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // The lowest free number is the one that open takes.
    if (fcntl(number, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
}

// A console that is a file at its size limit loses what does not fit, as one that is a closed pipe does.
void IgnoreFileSizeSignal() {
  struct sigaction ignore{};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, nullptr);
}

// The alarm that ends system calls must come through, whatever signals we were started with.
void UnblockAlarm() {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
}

}  // namespace

ConsoleApplication::~ConsoleApplication() {
  if (running_application != this) return;
  running_application = nullptr;
  std::set_terminate(default_handler);
}

std::int32_t RunApplication(ConsoleApplication& application, int argument_count, char** arguments) {
  OpenStandardDescriptors();
  IgnoreFileSizeSignal();
  UnblockAlarm();
  EventPump::Instance();
  running_application = &application;
  default_handler = std::set_terminate(OnTerminate);
  return application.Event_Run({arguments, arguments + argument_count});
}

}  // namespace platform

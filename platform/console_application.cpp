#include "platform/console_application.h"

#include <cstdlib>
#include <exception>

#include "platform/event_pump.h"
#include "platform/process.h"

namespace platform {
namespace {

ConsoleApplication* running_application = nullptr;
std::terminate_handler default_handler = nullptr;

[[noreturn]] void OnTerminate() {
  // A second failure, during the report, must not call this handler again.
  std::set_terminate(default_handler);
  const Failure failure;
  if (running_application->Event_UnhandledException(failure)) std::_Exit(EXIT_FAILURE);
  default_handler();
  std::abort();
}

}  // namespace

ConsoleApplication::~ConsoleApplication() {
  if (running_application != this) return;
  running_application = nullptr;
  std::set_terminate(default_handler);
}

std::int32_t RunApplication(ConsoleApplication& application, int argument_count, char** arguments) {
  PrepareProcess();
  EventPump::Instance();  // created first, so that it outlives every source
  running_application = &application;
  default_handler = std::set_terminate(OnTerminate);
  return application.Event_Run({arguments, arguments + argument_count});
}

}  // namespace platform

// Base class of a console program's application object, and the one call that its main makes.

#ifndef PLATFORM_CONSOLE_APPLICATION_H_
#define PLATFORM_CONSOLE_APPLICATION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/failure.h"

namespace platform {

class ConsoleApplication {
 public:
  ConsoleApplication() = default;
  ConsoleApplication(const ConsoleApplication&) = delete;
  ConsoleApplication& operator=(const ConsoleApplication&) = delete;
  // Failures are handed over until the object is destroyed, those of its own destructor included.
  virtual ~ConsoleApplication();

  // The program: takes its arguments, its own path first, and returns its exit status.
  virtual std::int32_t Event_Run(const std::vector<std::string>& arguments) = 0;

  // Called with an uncaught failure, before anything is unwound. True: the process ends with status 1; false: it
  // aborts.
  virtual bool Event_UnhandledException(const Failure& failure) = 0;
};

// Prepares the process, runs the application and returns its exit status. To be called by main, once.
std::int32_t RunApplication(ConsoleApplication& application, int argument_count, char** arguments);

}  // namespace platform

#endif  // PLATFORM_CONSOLE_APPLICATION_H_

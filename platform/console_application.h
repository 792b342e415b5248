// Base class of a console program's application object, and the function that its main calls.

#pragma once

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
  // Uncaught failures are passed to the object until it is destroyed, including failures in its own destructor.
  virtual ~ConsoleApplication();

  // Runs the program and returns its exit status. The first argument is the program's path.
  virtual std::int32_t Event_Run(const std::vector<std::string>& arguments) = 0;

  // Called with an uncaught failure, before the stack is unwound. If it returns true, the process ends with status 1;
  // otherwise it aborts.
  virtual bool Event_UnhandledException(const Failure& failure) = 0;
};

// Prepares the process, runs the application and returns its exit status. Call once, from main.
std::int32_t RunApplication(ConsoleApplication& application, int argument_count, char** arguments);

}  // namespace platform

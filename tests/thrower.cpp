// Fails in the way that its argument names, and catches nothing: what the application's handler prints is the test.

#include <cstdio>
#include <stdexcept>

#include "app/app.h"
#include "app/stack_trace.h"
#include "peers/pseudo_terminal.h"
#include "platform/event_pump.h"

// Not inlined, and not the last thing that their callers do: each is to have a frame of its own.
#define OWN_FRAME __attribute__((noinline, visibility("default")))

volatile int calls_returned = 0;

OWN_FRAME void ThirdDeep(bool no_exception_class) {
  if (no_exception_class) throw 42;
  throw std::runtime_error("not caught");
}

OWN_FRAME void SecondDeep(bool no_exception_class) {
  ThirdDeep(no_exception_class);
  calls_returned = calls_returned + 1;
}

OWN_FRAME void FirstDeep(bool no_exception_class) {
  SecondDeep(no_exception_class);
  calls_returned = calls_returned + 1;
}

OWN_FRAME void ThrowInsideThePump() {
  PseudoTerminal terminal;
  terminal.Line().OnChange = [] { FirstDeep(false); };
  // That the other side was opened and closed is an event of the line.
  fclose(fopen(terminal.Path().c_str(), "r"));
  platform::EventPump::Instance().Run(5000);
}

class UnreadableFailure : public platform::Failure {
 public:
  using platform::Failure::Failure;
  std::vector<std::string> Stack() const override { throw std::runtime_error("no stack"); }
};

class Thrower : public App {
 public:
  std::int32_t Event_Run(const std::vector<std::string>& arguments) override {
    const std::string how = arguments.back();
    if (how == "class") FirstDeep(false);
    if (how == "number") FirstDeep(true);
    if (how == "pump") ThrowInsideThePump();
    if (how == "unreadable") LogStackTrace(UnreadableFailure(std::vector<std::string>{}));
    if (how == "empty") LogStackTrace(platform::Failure(std::vector<std::string>{}));
    return 0;
  }
};

int main(int argument_count, char** arguments) {
  Thrower thrower;
  return platform::RunApplication(thrower, argument_count, arguments);
}

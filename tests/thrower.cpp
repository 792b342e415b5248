// Fails in the way that its argument names, and catches nothing: what the application's handler prints is the test.

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "app/app.h"
#include "app/process_state.h"
#include "app/stack_trace.h"
#include "peers/detached_port.h"
#include "peers/pseudo_terminal.h"
#include "platform/event_pump.h"

// Not inlined, and not the last thing that their callers do: each is to have a frame of its own.
#define OWN_FRAME __attribute__((noinline, visibility("default")))

volatile int calls_returned = 0;

OWN_FRAME void ThirdDeep(bool no_exception_class) {
  if (calls_returned != 0) return;
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

OWN_FRAME void FirstOfMany(int deeper) {
  if (deeper > 0) {
    FirstOfMany(deeper - 1);
  } else {
    ThirdDeep(false);
  }
  calls_returned = calls_returned + 1;
}

// A port whose release fails.
class FailingPort : public DetachedPort {
 public:
  FailingPort() : DetachedPort(nullptr) {}
  FailingPort(const FailingPort&) = delete;
  FailingPort& operator=(const FailingPort&) = delete;
  OWN_FRAME ~FailingPort() override { FirstDeep(false); }
};

class UnreadableFailure : public platform::Failure {
 public:
  using platform::Failure::Failure;
  std::vector<std::string> Stack() const override { throw std::runtime_error("no stack"); }
};

class Thrower : public App {
 public:
  std::int32_t Event_Run(const std::vector<std::string>& arguments) override {
    how_ = arguments.back();
    if (how_ == "class" || how_ == "twice") FirstDeep(false);
    if (how_ == "number") FirstDeep(true);
    if (how_ == "pump") ThrowInsideThePump();
    if (how_ == "deep") FirstOfMany(100);
    if (how_ == "release") State().DevicePort = std::make_shared<FailingPort>();
    if (how_ == "unreadable") LogStackTrace(UnreadableFailure(platform::StackAddresses{}));
    if (how_ == "empty") LogStackTrace(platform::Failure(platform::StackAddresses{}));
    return 0;
  }
  bool Event_UnhandledException(const platform::Failure& failure) override {
    if (how_ == "twice") FailingPort();
    return App::Event_UnhandledException(failure);
  }

 private:
  std::string how_;
};

int main(int argument_count, char** arguments) {
  Thrower thrower;
  return platform::RunApplication(thrower, argument_count, arguments);
}

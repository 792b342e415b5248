// Uncaught failures.

#include <gmock/gmock.h>

#include <stdexcept>

#include "app/app.h"
#include "app/process_state.h"
#include "peers/fake_port.h"
#include "platform/console_application.h"
#include "tests/child.h"

volatile int calls_returned = 0;
void Throw(int depth);
// Calls through this pointer are not inlined, so each has its own frame.
void (*volatile throw_from)(int) = Throw;

void Throw(int depth) {
  if (depth == 1) throw std::runtime_error("not caught");
  throw_from(depth - 1);
  calls_returned = calls_returned + 1;  // prevents a tail call
}

// A port whose destructor throws.
class FailingPort : public FakePort {
 public:
  FailingPort() : FakePort(nullptr) {}
  __attribute__((noinline)) ~FailingPort() override { throw_from(1); }
};

namespace {

using testing::ContainsRegex;
using testing::MatchesRegex;
using testing::Not;

// The driver with a different Event_Run.
class FailingApp : public App {
 public:
  std::function<void()> run;
  bool report_fails = false;

  std::int32_t Event_Run(const std::vector<std::string>& /*arguments*/) override {
    run();
    return 0;
  }
  bool Event_UnhandledException(const platform::Failure& failure) override {
    if (report_fails) throw_from(1);
    return App::Event_UnhandledException(failure);
  }
};

// Runs a function as the driver; expects the process to abort, and returns its console output.
std::string ConsoleOf(const std::function<void()>& run, bool report_fails = false) {
  const ChildResult result = RunInChild([&] {
    FailingApp app;
    app.run = run;
    app.report_fails = report_fails;
    return platform::RunApplication(app, 0, nullptr);
  });
  EXPECT_TRUE(result.IsAbort());
  return result.console;
}

void ExpectStack(const std::string& console, std::string frames) {
  frames += ".*\n\nmain\n\n";
#ifdef __arm__
  frames = "platform::Failure::Failure";  // the list ends at std::terminate, which cannot be unwound
#endif
  EXPECT_THAT(console, MatchesRegex("stack trace begin\n\n" + frames + ".*\n\ndone logging the stack\n\n"));
  EXPECT_THAT(console, Not(ContainsRegex("0xFFFF"))) << "a frame that does not exist";
  EXPECT_THAT(console, Not(ContainsRegex("[+]0x[0-9A-F]{8}"))) << "an offset outside its file";
}

TEST(Failure, PrintsStackOfThrow) {
  ExpectStack(ConsoleOf([] { throw_from(3); }), "(Throw\\(int\\)\n\n){3}");
}

// The stack may have been unwound as far as the destructor, which is noexcept.
TEST(Failure, PrintsStackOfFailedRelease) {
  ExpectStack(ConsoleOf([] { State().DevicePort = std::make_shared<FailingPort>(); }),
              ".*FailingPort::~FailingPort\\(\\).*ProcessState::Release\\(\\).*App::~App\\(\\)");
}

TEST(Failure, FailureDuringReportEndsProcess) {
  EXPECT_EQ(ConsoleOf([] { throw_from(1); }, true), "");
}

}  // namespace

// Uncaught failures.

#include <gmock/gmock.h>

#include <stdexcept>

#include "app/app.h"
#include "app/process_state.h"
#include "platform/process.h"
#include "tests/child.h"
#include "tests/fake_port.h"

volatile int calls_returned = 0;
void Throw(int deeper, bool no_exception_class);
// Calls through this pointer are not inlined, so each has its own frame.
void (*volatile throw_from)(int, bool) = Throw;

void Throw(int deeper, bool no_exception_class) {
  if (deeper > 1) {
    throw_from(deeper - 1, no_exception_class);
  } else if (no_exception_class) {
    throw 42;
  } else {
    throw std::runtime_error("not caught");
  }
  calls_returned = calls_returned + 1;  // prevents a tail call
}

// A port whose destructor throws.
class FailingPort : public FakePort {
 public:
  FailingPort() : FakePort(nullptr) {}
  __attribute__((noinline)) ~FailingPort() override { throw_from(1, false); }
};

namespace {

// The driver with a different Event_Run.
class Failing : public App {
 public:
  Failing(std::function<void()> run, std::function<void()> report) : run_(std::move(run)), report_(std::move(report)) {}
  std::int32_t Event_Run(const std::vector<std::string>& /*arguments*/) override {
    run_();
    return 0;
  }
  bool Event_UnhandledException(const platform::Failure& failure) override {
    if (report_) report_();
    return App::Event_UnhandledException(failure);
  }

 private:
  std::function<void()> run_;
  std::function<void()> report_;
};

End Fail(const std::function<void()>& run, const std::function<void()>& report = nullptr) {
  return InAChild([&] {
    Failing failing(run, report);
    return platform::RunApplication(failing, 0, nullptr);
  });
}

TEST(Failure, PrintsStackOfThrowAndAborts) {
  const std::string three_deep = "(Throw\\(int, bool\\)\n\n){3}.*";
  const struct {
    std::function<void()> run;
    std::string frames;
  } cases[] = {{[] { throw_from(3, false); }, three_deep},
               {[] { throw_from(3, true); }, three_deep},
               // The stack may have been unwound as far as the destructor, which is noexcept.
               {[] { State().DevicePort = std::make_shared<FailingPort>(); },
                ".*FailingPort::~FailingPort\\(\\).*ProcessState::Release\\(\\).*App::~App\\(\\).*"}};
  for (const auto& c : cases) {
    const End end = Fail(c.run);
    EXPECT_TRUE(end.IsAbort());
    std::string frames = c.frames + "\n\nmain";
#ifdef __arm__
    frames = "platform::CurrentStack";  // the list ends at std::terminate, which cannot be unwound
#endif
    EXPECT_THAT(end.console,
                testing::MatchesRegex("stack trace begin\n\n" + frames + ".*\n\ndone logging the stack\n\n"));
    EXPECT_THAT(end.console, testing::Not(testing::HasSubstr("0xFFFF"))) << "a frame that does not exist";
    EXPECT_THAT(end.console, testing::Not(testing::ContainsRegex("[+]0x[0-9A-F]{8}"))) << "an offset outside its file";
  }
}

TEST(Failure, FailureDuringReportEndsProcess) {
  const auto fail = [] { throw_from(1, false); };
  const End end = Fail(fail, fail);
  EXPECT_TRUE(end.IsAbort());
  EXPECT_EQ(end.console, "");
}

}  // namespace

int main(int argument_count, char** arguments) {
  platform::PrepareProcess();
  testing::InitGoogleMock(&argument_count, arguments);
  GTEST_FLAG_SET(catch_exceptions, false);  // exceptions thrown in a child must stay uncaught
  return RUN_ALL_TESTS();
}

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>

#include "peers/child_process.h"
#include "peers/waiting.h"
#include "platform/console.h"
#include "platform/ticks.h"
#include "tests/system_calls.h"

namespace {

// What a failing program leaves: its console, then how it ended.
std::string Fail(const std::string& how) {
  ChildProcess child(TORVY_THROWER, {how});
  EXPECT_TRUE(WaitFor([&child] { return child.Output().Ended && child.Status(); }));
  return child.Output().Received + std::to_string(child.Status().value_or(-1));
}

const std::string kAborted = std::to_string(128 + SIGABRT);

TEST(Failure, PrintsTheStackOfThePlaceThatThrewAndAborts) {
  const std::string end = "\n\nmain\n\n.*done logging the stack\n\n" + kAborted;
  const std::string start = "stack trace begin\n\n";
  const std::string deep = "ThirdDeep\\(bool\\)\n\nSecondDeep\\(bool\\)\n\nFirstDeep\\(bool\\)\n\n.*";
  // What is thrown in a release may have been unwound as far as the destructor, which lets nothing out.
  const std::pair<const char*, std::string> cases[] = {
      {"class", deep},
      {"number", deep},
      {"pump", deep + "platform::EventPump::Run\\(int\\).*"},
      {"release", ".*FailingPort::~FailingPort\\(\\).*ProcessState::Release\\(\\).*App::~App\\(\\).*"}};
  for (const auto& [how, frames] : cases) {
    const std::string console = Fail(how);
#ifdef __arm__
    // The runtime's std::terminate cannot be unwound: the list ends there.
    EXPECT_THAT(console, testing::MatchesRegex(start + "platform::CurrentStack.*done logging the stack\n\n" + kAborted))
        << how;
    continue;
#endif
    EXPECT_THAT(console, testing::MatchesRegex(start + frames + end)) << how;
    EXPECT_THAT(console, testing::Not(testing::HasSubstr("0xFFFF"))) << "a frame that does not exist";
    EXPECT_THAT(console, testing::Not(testing::ContainsRegex("[+]0x[0-9A-F]{8}"))) << "an offset outside its file";
  }
}

TEST(Failure, StackThatIsEmptyOrCannotBeReadIsSaidToBe) {
  EXPECT_EQ(Fail("empty"), "stack trace begin\n\ndone logging the stack\n\n0");
  EXPECT_EQ(Fail("unreadable"),
            "stack trace begin\n\nthere was an error while logging the stack trace\n\ndone logging the stack\n\n0");
}

TEST(Failure, OneDuringTheReportEndsTheProcess) {
  EXPECT_EQ(Fail("twice"), kAborted);
}

// A terminal may have room, but less than it is given.
TEST(Console, IsWaitedForOneSecondInAll) {
  Calls().on_poll = [](int) { return std::optional(1); };
  Calls().on_write = [](int, std::size_t) {
    EXPECT_TRUE(Calls().alarm.has_value()) << "blocks for ever";
    Calls().time_passed += Calls().alarm.value_or(std::chrono::hours(1));
    errno = EINTR;
    return std::optional<ssize_t>(-1);
  };
  const auto start = platform::MonotonicNow();
  for (int line = 0; line < 5; ++line) platform::PrintLine("nobody reads this");
  const auto waited = platform::MonotonicNow() - start;
  Calls() = {};
  EXPECT_GE(waited, std::chrono::seconds(1));
  EXPECT_LT(waited, std::chrono::milliseconds(1200));
}

// A hundred frames on a console that takes nothing: with a second for each the limit of the wait would pass.
TEST(Failure, ReportDoesNotWaitForAStuckConsole) {
  ChildProcess child(TORVY_THROWER, {"deep"}, [] {
    static int ends[2];
    if (pipe(ends) != 0) return;
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    while (write(ends[1], ends, sizeof ends) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDOUT_FILENO);
  });
  EXPECT_TRUE(WaitFor([&child] { return child.Status().has_value(); }));
  EXPECT_EQ(child.Status(), 128 + SIGABRT);
}

}  // namespace

// The platform layer: signals, the timeout of blocking calls, the console, random numbers.

#include "platform/process.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "peers/pseudo_terminal.h"
#include "platform/call_timeout.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/random.h"
#include "tests/child.h"
#include "tests/virtual_clock.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

// Runs a function in a child; expects it to return 0.
void SucceedsInChild(const std::function<int()>& run) {
  const ChildResult result = RunInChild(run);
  EXPECT_TRUE(result.IsExit(0)) << result.status;
}

TEST(PrepareProcess, OpensStandardDescriptors) {
  SucceedsInChild([] {
    for (const int number : {0, 1, 2}) close(number);
    PrepareProcess();
    return fcntl(0, F_GETFD) == -1 || fcntl(1, F_GETFD) == -1 || fcntl(2, F_GETFD) == -1 ? 1 : 0;
  });
}

TEST(PrepareProcess, IgnoresSignalsOfFailedWrites) {
  SucceedsInChild([] {
    PrepareProcess();
    const rlimit nothing{};
    setrlimit(RLIMIT_FSIZE, &nothing);
    PrintLine("the console is a file, in which this does not fit");
    int ends[2];
    if (pipe(ends) != 0) return 1;
    close(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    PrintLine("nobody can read this");
    return 0;
  });
}

TEST(PrepareProcess, IsNotStoppedInBackgroundOfItsTerminal) {
  const PseudoTerminal terminal;
  SucceedsInChild([&terminal] {
    setsid();
    const int controlling = open(terminal.Path().c_str(), O_RDWR);  // a session leader's first terminal
    PrepareProcess();
    const pid_t foreground = fork();
    if (foreground == 0) pause();
    setpgid(foreground, foreground);
    return tcsetpgrp(controlling, foreground) == 0 ? tcdrain(controlling) : 1;
  });
}

TEST(CallTimeout, InterruptsEveryBlockingCallAfterLimit) {
  SucceedsInChild([] {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    std::signal(SIGALRM, SIG_DFL);
    sigprocmask(SIG_BLOCK, &alarm, nullptr);  // as it may have been inherited
    PrepareProcess();
    int ends[2];
    char byte = 0;
    if (pipe(ends) != 0) return 1;
    const CallTimeout timeout(milliseconds(1));
    for (int call = 0; call < 3; ++call) {
      if (read(ends[0], &byte, 1) != -1 || errno != EINTR) return 2;
    }
    return 0;
  });
}

TEST(Random, DrawsEveryNumberInRange) {
  std::set<std::int32_t> drawn;
  for (int i = 0; i < 1000; ++i) drawn.insert(RandomInRange(1, 3));
  EXPECT_THAT(drawn, testing::ElementsAre(1, 2, 3));
}

// A terminal may have room, but not for all bytes.
TEST(Console, BlocksForOneSecondInTotal) {
  const VirtualClock clock;
  Calls().hooks[kPoll] = [](long limit, auto...) { return limit > 0 ? 1L : 0L; };
  Calls().hooks[kWrite] = [](auto...) {
    EXPECT_TRUE(Calls().alarm.has_value()) << "blocks forever";
    return After(Calls().alarm.value_or(std::chrono::hours(1)), Failure(EINTR));
  };
  const auto start = MonotonicNow();
  for (int line = 0; line < 5; ++line) PrintLine("nobody reads this");
  EXPECT_EQ(MonotonicNow() - start, std::chrono::seconds(1));
}

TEST(Console, LosesNothingIfInterrupted) {
  Calls().error = [](Call call) { return Calls().counts.at(call) % 2 == 1 && call != kClose ? EINTR : 0; };
  testing::internal::CaptureStdout();
  PrintLine(std::string(1000, 'x'));
  Calls() = {};
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(1000, 'x') + "\n");
}

}  // namespace
}  // namespace platform

// A failure that nothing catches, and an allocation or a system call that fails in the middle of a session.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "app/app.h"
#include "app/process_state.h"
#include "app/stack_trace.h"
#include "peers/bare_port.h"
#include "peers/detached_port.h"
#include "peers/pseudo_terminal.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/output_queue.h"
#include "tests/kit.h"
#include "tests/system_calls.h"

volatile int calls_returned = 0;
void Throw(int deeper, bool no_exception_class);
// Called through it, each call has a frame of its own.
void (*volatile throw_from)(int, bool) = Throw;

void Throw(int deeper, bool no_exception_class) {
  if (deeper > 1) {
    throw_from(deeper - 1, no_exception_class);
  } else if (no_exception_class) {
    throw 42;
  } else {
    throw std::runtime_error("not caught");
  }
  calls_returned = calls_returned + 1;  // else the last call would replace its caller
}

// A port whose release fails.
class FailingPort : public DetachedPort {
 public:
  FailingPort() : DetachedPort(nullptr) {}
  __attribute__((noinline)) ~FailingPort() override { throw_from(1, false); }
};

namespace {

struct End {
  std::string console;
  int status = 0;

  bool IsAbort() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
};

End InAChild(const std::function<int()>& run) {
  int console[2];
  EXPECT_EQ(pipe(console), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(console[1], STDOUT_FILENO);
    close(STDERR_FILENO);  // where the C++ library has its say
    const rlimit no_core{};
    setrlimit(RLIMIT_CORE, &no_core);
    _exit(run());
  }
  close(console[1]);
  End end;
  char bytes[4096];
  for (ssize_t count = 0; (count = read(console[0], bytes, sizeof bytes)) > 0;) {
    end.console.append(bytes, static_cast<std::size_t>(count));
  }
  close(console[0]);
  EXPECT_EQ(waitpid(child, &end.status, 0), child);
  return end;
}

// The driver with other things to do.
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

TEST(Failure, PrintsTheStackOfThePlaceThatThrewAndAborts) {
  const std::string three_deep = "(Throw\\(int, bool\\)\n\n){3}.*";
  const struct {
    std::function<void()> run;
    std::string frames;
  } cases[] = {{[] { throw_from(3, false); }, three_deep},
               {[] { throw_from(3, true); }, three_deep},
               // It may have been unwound as far as the destructor, which lets nothing out.
               {[] { State().DevicePort = std::make_shared<FailingPort>(); },
                ".*FailingPort::~FailingPort\\(\\).*ProcessState::Release\\(\\).*App::~App\\(\\).*"}};
  for (const auto& c : cases) {
    const End end = Fail(c.run);
    EXPECT_TRUE(end.IsAbort());
    std::string frames = c.frames + "\n\nmain";
#ifdef __arm__
    frames = "platform::CurrentStack";  // the runtime's std::terminate cannot be unwound: the list ends there
#endif
    EXPECT_THAT(end.console,
                testing::MatchesRegex("stack trace begin\n\n" + frames + ".*\n\ndone logging the stack\n\n"));
    EXPECT_THAT(end.console, testing::Not(testing::HasSubstr("0xFFFF"))) << "a frame that does not exist";
    EXPECT_THAT(end.console, testing::Not(testing::ContainsRegex("[+]0x[0-9A-F]{8}"))) << "an offset outside its file";
  }
}

class UnreadableFailure : public platform::Failure {
 public:
  using platform::Failure::Failure;
  std::vector<std::string> Stack() const override { throw std::runtime_error("no stack"); }
};

TEST(Failure, StackThatIsEmptyOrCannotBeReadIsSaidToBe) {
  EXPECT_EQ(Fail([] { LogStackTrace(platform::Failure(platform::StackAddresses{})); }).console,
            "stack trace begin\n\ndone logging the stack\n\n");
  EXPECT_EQ(Fail([] { LogStackTrace(UnreadableFailure(platform::StackAddresses{})); }).console,
            "stack trace begin\n\nthere was an error while logging the stack trace\n\ndone logging the stack\n\n");
}

TEST(Failure, OneDuringTheReportEndsTheProcess) {
  const auto fail = [] { throw_from(1, false); };
  const End end = Fail(fail, fail);
  EXPECT_TRUE(end.IsAbort());
  EXPECT_EQ(end.console, "");
}

// A terminal may have room, but less than it is given.
TEST(Console, IsWaitedForOneSecondInAll) {
  Calls().on_poll = [](int) { return std::optional(1); };
  Calls().on_write = [](int, std::size_t) {
    EXPECT_TRUE(Calls().alarm.has_value()) << "blocks for ever";
    return After(Calls().alarm.value_or(std::chrono::hours(1)), Failure(EINTR));
  };
  const auto start = platform::MonotonicNow();
  for (int line = 0; line < 5; ++line) platform::PrintLine("nobody reads this");
  const auto waited = platform::MonotonicNow() - start;
  Calls() = {};
  EXPECT_GE(waited, std::chrono::seconds(1));
  EXPECT_LT(waited, std::chrono::milliseconds(1200));
}

// So many frames on a console that takes nothing: with a second for each the limit of the test would pass.
TEST(Failure, ReportDoesNotWaitForAStuckConsole) {
  const auto on_a_stuck_console = [] {
    int ends[2];
    if (pipe(ends) != 0) return;
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    while (write(ends[1], ends, sizeof ends) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDOUT_FILENO);
    throw_from(200, false);
  };
  EXPECT_TRUE(Fail(on_a_stuck_console).IsAbort());
}

Fault call_fault;

enum Outcome { kOrderly, kOther, kNothingStruck };

// A session that shows every kind of line. The host and the device are bare sockets: nothing of theirs can fail.
int ServeWith(Fault& fault, long turn, bool over_ip) {
  const PseudoTerminal terminal;
  BarePort host;
  BarePort device;
  host.Listen();
  device.Listen();
  std::vector<std::string> arguments{"driver", terminal.Path(), "127.0.0.1", std::to_string(host.Number()), "17"};
  if (over_ip) {
    arguments[1] = "IP";
    arguments.insert(arguments.end(), {"127.0.0.1", std::to_string(device.Number())});
  }
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  cQuorvaneCommand unit_command;
  unit_command.SetCommand("2");
  const std::string debug = ControllerCommand("D").GetRawCommand();
  const std::string rest = std::string("X\0", 2) + DeviceCommand("0102", "ON", "1").GetRawCommand() +
                           DeviceCommand("0102", "DIM", "2").GetRawCommand() + unit_command.GetRawCommand() +
                           RawDataCommand("0102D").GetRawCommand() + ControllerCommand("Q").GetRawCommand();
  VirtualClock clock;
  clock.waits.reserve(100'000);
  int link = -1;
  bool all_sent = false;
  int real_waits_left = 10'000;
  clock.before_wait = [&](const VirtualClock::Wait&) {
    if (link < 0 && (link = host.Accept()) >= 0) send(link, debug.data(), debug.size(), 0);
    if (State().Driver != nullptr && !std::exchange(all_sent, true)) {
      send(link, rest.data(), rest.size(), MSG_NOSIGNAL);
    }
    return 0;
  };
  clock.may_pass = [&] {  // not while the connection is being made
    const auto& socket = State().HostSocket;
    return link >= 0 || socket == nullptr || socket->LastErrorCode() != 0 || --real_waits_left < 0;
  };
  Calls().fails = [] { return call_fault.Strikes(); };
  std::int32_t status = 0;
  fault.turns_left = turn + 1;
  {
    App app;
    status = platform::RunApplication(app, static_cast<int>(pointers.size()), pointers.data());
  }
  return status != 0 ? kOther : fault.HasStruck() ? kOrderly : kNothingStruck;
}

// Runs sessions until one has fewer turns; returns how many struck. Stops at the first that is not as it should be.
template <typename Check>
long EachTurn(Fault& fault, bool over_ip, Check check) {
  for (long turn = 1; !testing::Test::HasFailure(); ++turn) {
    const End end = InAChild([&] { return ServeWith(fault, turn, over_ip); });
    if (WIFEXITED(end.status) && WEXITSTATUS(end.status) == kNothingStruck) return turn - 1;
    check(end);
    if (testing::Test::HasFailure()) ADD_FAILURE() << (over_ip ? "IP, turn " : "serial, turn ") << turn;
  }
  return 0;
}

TEST(FailingSession, AllocationThatFailsIsReportedWhole) {
  for (const bool over_ip : {false, true}) {
    for (const bool lasts : {false, true}) {
      allocation_fault.lasts = lasts;
      const std::string stack = lasts ? "there was an error while logging the stack trace\n\n" : "([^\n]+\n\n)+";
      const long struck = EachTurn(allocation_fault, over_ip, [&stack](const End& end) {
        EXPECT_TRUE(end.IsAbort()) << end.status;
        EXPECT_THAT(end.console, testing::MatchesRegex("stack trace begin\n\n" + stack + "done logging the stack\n\n"));
      });
      EXPECT_GT(struck, 30);
    }
  }
}

TEST(FailingSession, SystemCallThatFailsLeavesAnOrderlyEnd) {
  for (const bool over_ip : {false, true}) {
    const long struck = EachTurn(call_fault, over_ip, [](const End& end) {
      EXPECT_TRUE(WIFEXITED(end.status) && WEXITSTATUS(end.status) == kOrderly) << end.status << end.console;
    });
    EXPECT_GT(struck, 100);
  }
}

TEST(OutputQueue, GivesUpTheRoomOfWhatItHasSent) {
  Calls().on_write = [](int, std::size_t) { return std::optional<ssize_t>(1000); };
  platform::OutputQueue output;
  output.Append("always a little left");
  largest_allocation = 0;
  for (int i = 0; i < 10'000; ++i) {
    output.Append(std::string(1000, 'x'));
    EXPECT_EQ(output.SendTo(-1), 0);
  }
  EXPECT_EQ(output.Size(), 20U);
  EXPECT_LT(largest_allocation, 10'000U);
  Calls() = {};
}

}  // namespace

int main(int argument_count, char** arguments) {
  testing::InitGoogleMock(&argument_count, arguments);
  GTEST_FLAG_SET(catch_exceptions, false);  // what is thrown in a child is to find nobody who catches it
  return RUN_ALL_TESTS();
}

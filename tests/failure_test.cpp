// Uncaught failures, and complete sessions in which, one after another, each allocation or system call fails, or each
// call is interrupted.

#include <sys/socket.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "app/app.h"
#include "app/process_state.h"
#include "peers/fake_port.h"
#include "peers/pseudo_terminal.h"
#include "platform/console_application.h"
#include "tests/support.h"

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
  EXPECT_EQ(result.status, -SIGABRT);
  EXPECT_EQ(result.errors.starts_with("terminate called after throwing"), !report_fails);  // by the C++ library
  return result.console;
}

void ExpectStack(const std::string& console, std::string frames) {
  frames += ".*\n\nmain\n\n";
#ifdef __arm__
  frames = "platform::Failure::Failure";  // the list ends before std::terminate, which cannot be unwound
#else
  EXPECT_THAT(console, ContainsRegex("\n[^\n]*/torvy-tests[+]0x[0-9A-F]+\n"));  // a function without an exported name
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

enum ExitStatus { kFailure, kNoFailure };  // whether the session made the call in which a failure was injected

std::string ReceiveAll(int link) {
  std::string bytes(std::size_t{1} << 16, '\0');
  const ssize_t count = recv(link, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_WAITALL);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return bytes;
}

constexpr auto kInterruptible = std::to_array({kConnect, kSleep, kOpen, kPoll, kRead, kDrain, kWrite});

// A session that exercises every kind of log entry. The far ends are plain sockets, into which no failures are
// injected.
class Session {
 public:
  Session(FailureInjector& injector, bool over_ip, int error) : injector_(injector), over_ip_(over_ip), error_(error) {
    host_.Paused = device_.Paused = true;
  }

  // Runs the session in which the call with this number fails; prints what the host and the device received.
  ExitStatus Run(long number) {
    VirtualClock clock;
    clock.sleeps.reserve(100'000);
    // Stop time while the connection is being made.
    clock.may_pass = [this] {
      PlayHost();
      return link_ >= 0 || State().HostSocket == nullptr || State().QuitRequested;
    };
    Calls().error = [this](Call call) {
      const bool may_fail =
          error_ == EINTR ? std::ranges::find(kInterruptible, call) != kInterruptible.end() : call != kClose;
      return error_ != 0 && may_fail && injector_.ShouldFail() ? error_ : 0;
    };
    RunDriver(number);
    const bool failed = injector_.HasFailed();
    Calls().error = nullptr;
    injector_.countdown = 0;
    platform::EventPump::Instance().RunOnly(terminal_.Line());
    std::cout << ReceiveAll(link_) << '\n' << terminal_.Line().Received << ReceiveAll(Accept(device_)) << std::endl;
    return failed ? kFailure : kNoFailure;
  }

 private:
  static int Accept(const Listener& listener) { return accept(listener.Number(), nullptr, nullptr); }

  // Called whenever the driver waits: accepts its connection, then sends the commands when it is ready. Turns debug
  // mode on, except for interrupted calls, whose sessions are compared: its log entries differ from session to session.
  void PlayHost() {
    if (link_ < 0 && (link_ = Accept(host_)) >= 0 && error_ != EINTR) Send(debug_);
    if (State().Driver != nullptr) Send(std::exchange(commands_, {}));
  }
  void Send(const std::string& bytes) const { send(link_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  void RunDriver(long number) {
    const std::string port = over_ip_ ? "IP" : terminal_.Path();
    std::string arguments[]{
        "driver", port, "127.0.0.1", std::to_string(host_.Port()), "17", "127.0.0.1", std::to_string(device_.Port())};
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    injector_.countdown = number + 1;
    App app;
    platform::RunApplication(app, static_cast<int>(pointers.size()), pointers.data());
  }

  FailureInjector& injector_;
  bool over_ip_;
  int error_;
  PseudoTerminal terminal_;
  Listener host_;
  Listener device_;
  int link_ = -1;
  // Built before a call fails. They include a zero length and a unit command without a code.
  const std::string debug_ = ControllerCommand("D").GetRawCommand();
  std::string commands_ = std::string("?\0", 2) + DeviceCommand("0102", "ON", "1").GetRawCommand() +
                          DeviceCommand("0102", "DIM", "2").GetRawCommand() + "X\x02" +
                          RawDataCommand("0102D").GetRawCommand() + ControllerCommand("Q").GetRawCommand();
};

// Runs sessions over a serial line, then over IP. The first call fails in the first session, the second call in the
// second session, and so on, up to the last call. Stops at the first session that fails `check`.
void ForEachCall(FailureInjector& injector, int error, const std::function<void(const ChildResult& result)>& check) {
  for (const bool over_ip : {false, true}) {
    for (long number = 1; !testing::Test::HasFailure(); ++number) {
      const ChildResult result = RunInChild([&] { return Session(injector, over_ip, error).Run(number); });
      if (result.status == kNoFailure) {
        EXPECT_GT(number, 30);
        break;
      }
      check(result);
      if (testing::Test::HasFailure()) ADD_FAILURE() << (over_ip ? "IP, call " : "serial, call ") << number;
    }
  }
}

FailureInjector call_failure;

TEST(FailingSession, ReportsEveryFailedAllocationCompletely) {
  for (const bool lasts : {false, true}) {
    allocation_failure.lasts = lasts;
    const std::string stack = lasts ? "there was an error while logging the stack trace\n\n" : "([^\n]+\n\n)+";
    ForEachCall(allocation_failure, 0, [&stack](const ChildResult& result) {
      EXPECT_EQ(result.status, -SIGABRT);
      EXPECT_THAT(result.console, MatchesRegex("stack trace begin\n\n" + stack + "done logging the stack\n\n"));
    });
  }
}

TEST(FailingSession, ExitsNormallyAfterAnyFailedSystemCall) {
  ForEachCall(call_failure, EIO,
              [](const ChildResult& result) { EXPECT_EQ(result.status, kFailure) << result.console; });
}

TEST(FailingSession, InterruptedSystemCallChangesNothing) {
  const ChildResult undisturbed = RunInChild([] { return Session(call_failure, false, EINTR).Run(100'000); });
  EXPECT_THAT(undisturbed.console, testing::EndsWith("\n0102U0102D\n"));
  ForEachCall(call_failure, EINTR, [&undisturbed](const ChildResult& result) {
    EXPECT_EQ(result.status, kFailure);
    EXPECT_EQ(result.console, undisturbed.console);
  });
}

}  // namespace

// A whole session of the driver in which one allocation or one system call fails: each of them in turn.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "app/app.h"
#include "app/process_state.h"
#include "peers/bare_port.h"
#include "peers/pseudo_terminal.h"
#include "platform/output_queue.h"
#include "tests/kit.h"
#include "tests/system_calls.h"

namespace {

Fault call_fault;

constexpr int kOrderly = 0;
constexpr int kOther = 1;
constexpr int kNothingStruck = 2;

// A session that shows every kind of line. The host and the device are bare sockets: nothing of theirs can fail.
[[noreturn]] void ServeWith(Fault& fault, long turn, bool over_ip) noexcept {
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
  _exit(status != 0 ? kOther : fault.HasStruck() ? kOrderly : kNothingStruck);
}

struct End {
  std::string console;
  int status = 0;
};

End Session(Fault& fault, long turn, bool over_ip) {
  int console[2];
  EXPECT_EQ(pipe(console), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(console[1], STDOUT_FILENO);
    close(STDERR_FILENO);  // where the C++ library has its say
    const rlimit no_core{};
    setrlimit(RLIMIT_CORE, &no_core);
    ServeWith(fault, turn, over_ip);
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

// Runs sessions until one has fewer turns; returns how many struck. Stops at the first that is not as it should be.
template <typename Check>
long EachTurn(Fault& fault, bool over_ip, Check check) {
  for (long turn = 1; !testing::Test::HasFailure(); ++turn) {
    const End end = Session(fault, turn, over_ip);
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
        EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGABRT) << end.status;
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

// A whole session in which one allocation or one system call fails, or one call is interrupted, each in its turn.

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <algorithm>
#include <iostream>
#include <regex>
#include <utility>

#include "app/app.h"
#include "app/process_state.h"
#include "host/host_socket.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "tests/child.h"
#include "tests/refusing_port.h"
#include "tests/virtual_clock.h"

namespace {

using testing::MatchesRegex;

enum Outcome { kOrderly, kOther, kNothingStruck };

std::string ReceiveAll(int link) {
  std::string bytes(std::size_t{1} << 16, '\0');
  const ssize_t count = recv(link, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_WAITALL);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return bytes;
}

constexpr std::array kInterruptible{kConnect, kNanosleep, kOpen, kPoll, kPpoll, kRead, kTcdrain, kWrite};

// A session that shows every kind of line, between bare sockets, whose side nothing can fail on.
class Session {
 public:
  Session(Fault& fault, bool over_ip, int error) : fault_(fault), error_(error), over_ip_(over_ip) {
    host_.Listen();
    device_.Listen();
  }

  // Runs it with the fault in its turn, and prints what the host and the device have got.
  int Run(long turn) {
    VirtualClock clock;
    clock.waits.reserve(100'000);
    clock.before_wait = [this](const VirtualClock::Wait&) {
      Play();
      return 0;
    };
    int real_waits_left = 10'000;
    clock.may_pass = [this, &real_waits_left] {  // not while the connection is being made
      const auto& socket = State().HostSocket;
      return link_ >= 0 || socket == nullptr || socket->LastErrorCode() != 0 || --real_waits_left < 0;
    };
    Calls().error = [this](Call call) {
      const bool may_fail =
          error_ == EINTR ? std::ranges::find(kInterruptible, call) != kInterruptible.end() : call != kClose;
      return error_ != 0 && may_fail && fault_.Strikes() ? error_ : 0;
    };
    const std::int32_t status = RunDriver(turn);
    const bool struck = fault_.HasStruck();
    Calls().error = nullptr;
    fault_.turns_left = 0;
    const int network_device = device_.Accept();
    platform::EventPump::Instance().RunOnly(terminal_.Line());
    // These numbers differ from session to session.
    const std::regex varies("[0-9]+ ticks|pts/[0-9]+|port \\([0-9]+");
    const std::string log = std::regex_replace(ReceiveAll(link_), varies, "N");
    std::cout << log << '\n' << terminal_.Line().Received << ReceiveAll(network_device) << std::endl;
    return status != 0 ? kOther : struck ? kOrderly : kNothingStruck;
  }

 private:
  // The host's part, before each wait of the driver.
  void Play() {
    if (link_ < 0 && (link_ = host_.Accept()) >= 0) Send(debug_);
    if (State().Driver != nullptr) Send(std::exchange(rest_, {}));
  }
  void Send(const std::string& bytes) const { send(link_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  std::int32_t RunDriver(long turn) {
    std::vector<std::string> arguments{"driver", terminal_.Path(), "127.0.0.1", std::to_string(host_.Number()), "17"};
    if (over_ip_) {
      arguments[1] = "IP";
      arguments.insert(arguments.end(), {"127.0.0.1", std::to_string(device_.Number())});
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    fault_.turns_left = turn + 1;
    App app;
    return platform::RunApplication(app, static_cast<int>(pointers.size()), pointers.data());
  }

  static std::string UnitCommand() {
    cQuorvaneCommand command;
    command.SetCommand("2");
    return command.GetRawCommand();
  }

  Fault& fault_;
  int error_;
  bool over_ip_;
  PseudoTerminal terminal_;
  RefusingPort host_;
  RefusingPort device_;
  int link_ = -1;
  const std::string debug_ = ControllerCommand("D").GetRawCommand();
  std::string rest_ = std::string("?\0", 2) + DeviceCommand("0102", "ON", "1").GetRawCommand() +
                      DeviceCommand("0102", "DIM", "2").GetRawCommand() + UnitCommand() +
                      RawDataCommand("0102D").GetRawCommand() + ControllerCommand("Q").GetRawCommand();
};

// Runs sessions until one has fewer turns; returns how many struck. Stops at the first that is not as it should be.
template <typename Check>
long EachTurn(Fault& fault, bool over_ip, int error, Check check) {
  for (long turn = 1; !testing::Test::HasFailure(); ++turn) {
    const End end = InAChild([&] { return Session(fault, over_ip, error).Run(turn); });
    if (end.IsExit(kNothingStruck)) return turn - 1;
    check(end);
    if (testing::Test::HasFailure()) ADD_FAILURE() << (over_ip ? "IP, turn " : "serial, turn ") << turn;
  }
  return 0;
}

Fault call_fault;

TEST(FailingSession, AllocationThatFailsIsReportedWhole) {
  for (const bool over_ip : {false, true}) {
    for (const bool lasts : {false, true}) {
      allocation_fault.lasts = lasts;
      const std::string stack = lasts ? "there was an error while logging the stack trace\n\n" : "([^\n]+\n\n)+";
      const long struck = EachTurn(allocation_fault, over_ip, 0, [&stack](const End& end) {
        EXPECT_TRUE(end.IsAbort()) << end.status;
        EXPECT_THAT(end.console, MatchesRegex("stack trace begin\n\n" + stack + "done logging the stack\n\n"));
      });
      EXPECT_GT(struck, 30);
    }
  }
}

TEST(FailingSession, SystemCallThatFailsLeavesAnOrderlyEnd) {
  for (const bool over_ip : {false, true}) {
    const long struck = EachTurn(call_fault, over_ip, EIO, [](const End& end) {
      EXPECT_TRUE(end.IsExit(kOrderly)) << end.status << end.console;
    });
    EXPECT_GT(struck, 100);
  }
}

TEST(FailingSession, CallThatIsInterruptedChangesNothing) {
  for (const bool over_ip : {false, true}) {
    const End undisturbed = InAChild([over_ip] { return Session(call_fault, over_ip, EINTR).Run(100'000); });
    EXPECT_TRUE(undisturbed.console.ends_with("\n0102U0102D\n")) << undisturbed.console;
    const long struck = EachTurn(call_fault, over_ip, EINTR, [&undisturbed](const End& end) {
      EXPECT_TRUE(end.IsExit(kOrderly)) << end.status;
      EXPECT_EQ(end.console, undisturbed.console);
    });
    EXPECT_GT(struck, 100);
  }
}

}  // namespace

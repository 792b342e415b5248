// Complete sessions in which, one after another, each allocation or system call fails, or each call is interrupted.

#include <gmock/gmock.h>
#include <netinet/in.h>
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
#include "tests/virtual_clock.h"

namespace {

using testing::MatchesRegex;

enum Outcome { kOrderly, kOther, kNothingStruck };

// A plain listening socket on loopback. It is not part of the event pump, and its calls never fail on purpose.
class PlainListener {
 public:
  PlainListener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    socklen_t size = sizeof address_;
    bind(socket_.Number(), address, size);
    listen(socket_.Number(), 1);
    getsockname(socket_.Number(), address, &size);
  }
  std::string Port() const { return std::to_string(ntohs(address_.sin_port)); }
  // Returns the next connection, or -1.
  int Accept() const { return accept(socket_.Number(), nullptr, nullptr); }

 private:
  platform::Descriptor socket_;
  sockaddr_in address_{};
};

std::string ReceiveAll(int link) {
  std::string bytes(std::size_t{1} << 16, '\0');
  const ssize_t count = recv(link, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_WAITALL);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return bytes;
}

constexpr std::array kInterruptible{kConnect, kNanosleep, kOpen, kPoll, kRead, kTcdrain, kWrite};

// A session that exercises every kind of log line. The far ends are plain sockets, not affected by the fault.
class Session {
 public:
  Session(Fault& fault, bool over_ip, int error) : fault_(fault), error_(error), over_ip_(over_ip) {}

  // Runs the session with the fault at the given turn; prints what the host and the device received.
  int Run(long turn) {
    VirtualClock clock;
    clock.waits.reserve(100'000);
    // Stop time while the connection is being made.
    clock.may_pass = [this] {
      PlayHost();
      return link_ >= 0 || State().HostSocket == nullptr || State().QuitRequested;
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
    // These numbers, and the length of the line with the terminal's name, differ between sessions.
    const std::regex varies("[0-9]+ ticks|.\x04torvy making local.*pts/[0-9]+|port \\([0-9]+");
    const std::string log = std::regex_replace(ReceiveAll(link_), varies, "N");
    std::cout << log << '\n' << terminal_.Line().Received << ReceiveAll(network_device) << std::endl;
    return status != 0 ? kOther : struck ? kOrderly : kNothingStruck;
  }

 private:
  // Called whenever the driver waits: accepts its connection and turns debug mode on, then sends the commands when it
  // is ready.
  void PlayHost() {
    if (link_ < 0 && (link_ = host_.Accept()) >= 0) Send(debug_);
    if (State().Driver != nullptr) Send(std::exchange(commands_, {}));
  }
  void Send(const std::string& bytes) const { send(link_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  std::int32_t RunDriver(long turn) {
    std::vector<std::string> arguments{"driver", terminal_.Path(), "127.0.0.1", host_.Port(), "17"};
    if (over_ip_) {
      arguments[1] = "IP";
      arguments.insert(arguments.end(), {"127.0.0.1", device_.Port()});
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    fault_.turns_left = turn + 1;
    App app;
    return platform::RunApplication(app, static_cast<int>(pointers.size()), pointers.data());
  }

  Fault& fault_;
  int error_;
  bool over_ip_;
  PseudoTerminal terminal_;
  PlainListener host_;
  PlainListener device_;
  int link_ = -1;
  // Built before the fault is active. They include a zero length and a unit command without a code.
  const std::string debug_ = ControllerCommand("D").GetRawCommand();
  std::string commands_ = std::string("?\0", 2) + DeviceCommand("0102", "ON", "1").GetRawCommand() +
                          DeviceCommand("0102", "DIM", "2").GetRawCommand() + "X\x02" +
                          RawDataCommand("0102D").GetRawCommand() + ControllerCommand("Q").GetRawCommand();
};

// Runs sessions over a serial line and over IP, each with the fault one turn later, until it no longer strikes. Stops
// at the first session that fails `check`.
template <typename Check>
void EachTurn(Fault& fault, int error, Check check) {
  for (const bool over_ip : {false, true}) {
    for (long turn = 1; !testing::Test::HasFailure(); ++turn) {
      const End end = InAChild([&] { return Session(fault, over_ip, error).Run(turn); });
      if (end.IsExit(kNothingStruck)) {
        EXPECT_GT(turn, 30);
        break;
      }
      check(end, over_ip);
      if (testing::Test::HasFailure()) ADD_FAILURE() << (over_ip ? "IP, turn " : "serial, turn ") << turn;
    }
  }
}

Fault call_fault;

TEST(FailingSession, ReportsEveryFailedAllocationCompletely) {
  for (const bool lasts : {false, true}) {
    allocation_fault.lasts = lasts;
    const std::string stack = lasts ? "there was an error while logging the stack trace\n\n" : "([^\n]+\n\n)+";
    EachTurn(allocation_fault, 0, [&stack](const End& end, bool) {
      EXPECT_TRUE(end.IsAbort()) << end.status;
      EXPECT_THAT(end.console, MatchesRegex("stack trace begin\n\n" + stack + "done logging the stack\n\n"));
    });
  }
}

TEST(FailingSession, ExitsInOrderAfterAnyFailedSystemCall) {
  EachTurn(call_fault, EIO,
           [](const End& end, bool) { EXPECT_TRUE(end.IsExit(kOrderly)) << end.status << end.console; });
}

TEST(FailingSession, InterruptedSystemCallChangesNothing) {
  std::string undisturbed[2];
  for (const bool over_ip : {false, true}) {
    undisturbed[over_ip] = InAChild([&] { return Session(call_fault, over_ip, EINTR).Run(100'000); }).console;
    EXPECT_TRUE(undisturbed[over_ip].ends_with("\n0102U0102D\n")) << undisturbed[over_ip];
  }
  EachTurn(call_fault, EINTR, [&undisturbed](const End& end, bool over_ip) {
    EXPECT_TRUE(end.IsExit(kOrderly)) << end.status;
    EXPECT_EQ(end.console, undisturbed[over_ip]);
  });
}

}  // namespace

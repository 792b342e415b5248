// Complete sessions in which, one after another, each allocation or system call fails, or each call is interrupted.

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <iostream>
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

enum ExitStatus { kFailure, kNoFailure };  // whether the session made the call in which a failure was injected

// A plain listening socket on loopback. It is not part of the event pump, and no failures are injected into its calls.
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

// A session that exercises every kind of log entry. The far ends are plain sockets, which do not fail.
class Session {
 public:
  Session(FailureInjector& injector, bool over_ip, int error) : injector_(injector), over_ip_(over_ip), error_(error) {}

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
    const int network_device = device_.Accept();
    platform::EventPump::Instance().RunOnly(terminal_.Line());
    std::cout << ReceiveAll(link_) << '\n' << terminal_.Line().Received << ReceiveAll(network_device) << std::endl;
    return failed ? kFailure : kNoFailure;
  }

 private:
  // Called whenever the driver waits: accepts its connection, then sends the commands when it is ready. Turns debug
  // mode on, except for interrupted calls, whose sessions are compared: its log entries differ from session to session.
  void PlayHost() {
    if (link_ < 0 && (link_ = host_.Accept()) >= 0 && error_ != EINTR) Send(debug_);
    if (State().Driver != nullptr) Send(std::exchange(commands_, {}));
  }
  void Send(const std::string& bytes) const { send(link_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  void RunDriver(long number) {
    const std::string port = over_ip_ ? "IP" : terminal_.Path();
    std::string arguments[]{"driver", port, "127.0.0.1", host_.Port(), "17", "127.0.0.1", device_.Port()};
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
  PlainListener host_;
  PlainListener device_;
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
      if (result.IsExit(kNoFailure)) {
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
      EXPECT_TRUE(result.IsAbort()) << result.status;
      EXPECT_THAT(result.console, MatchesRegex("stack trace begin\n\n" + stack + "done logging the stack\n\n"));
    });
  }
}

TEST(FailingSession, ExitsInOrderAfterAnyFailedSystemCall) {
  ForEachCall(call_failure, EIO, [](const ChildResult& result) {
    EXPECT_TRUE(result.IsExit(kFailure)) << result.status << result.console;
  });
}

TEST(FailingSession, InterruptedSystemCallChangesNothing) {
  const ChildResult undisturbed = RunInChild([] { return Session(call_failure, false, EINTR).Run(100'000); });
  EXPECT_THAT(undisturbed.console, testing::EndsWith("\n0102U0102D\n"));
  ForEachCall(call_failure, EINTR, [&undisturbed](const ChildResult& result) {
    EXPECT_TRUE(result.IsExit(kFailure)) << result.status;
    EXPECT_EQ(result.console, undisturbed.console);
  });
}

}  // namespace

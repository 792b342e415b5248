// The simulator as a child process at a terminal and at both ends of a serial line; tests/simulator/ has other tests.

#include <fcntl.h>
#include <sys/ioctl.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "peers/child_process.h"
#include "peers/pseudo_terminal.h"
#include "tests/support.h"

namespace {

using testing::HasSubstr;

TEST(Simulator, FailsIfCommandsOnRealLineAreLost) {
  PseudoTerminal terminal;
  PseudoTerminal other_end;
  terminal.Line().OnChange = [&] { other_end.Line().Send(std::exchange(terminal.Line().Received, {})); };
  std::array<int, 2> input{-1, -1};
  ASSERT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
  const platform::Descriptor read_end(input[0]);
  const platform::Descriptor write_end(input[1]);
  ChildProcess simulator(TORVY_SIMULATOR, {"--interactive", "--port", terminal.Path(), "--other-end", other_end.Path()},
                         [&] { dup2(input[0], STDIN_FILENO); });
  const std::string& shown = simulator.Output().Received;
  ASSERT_EQ(write(input[1], "0102 ON\nexpect 0102U\n", 21), 21);
  EXPECT_TRUE(WaitFor([&] { return shown.find("as expected       0102U") != std::string::npos; })) << shown;
  other_end.HangUp();
  ASSERT_EQ(write(input[1], "0304 OFF\nquit\n", 14), 14);
  EXPECT_TRUE(WaitFor([&] { return simulator.Status() && simulator.Output().Ended; })) << shown;
  EXPECT_EQ(simulator.Status(), 1);
  EXPECT_THAT(shown, HasSubstr("standard input:3: the device link is closed; the data sent is lost\n"));
}

TEST(Simulator, EditsLinesAtTerminal) {
  PseudoTerminal terminal;
  const platform::Descriptor shell(open(terminal.Path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  ChildProcess simulator(TORVY_SIMULATOR, {"--interactive"}, [&] {
    setenv("TERM", "xterm", 1);
    setenv("LC_ALL", "C", 1);  // non-ASCII characters are still read
    setsid();
    const int line = open(terminal.Path().c_str(), O_RDWR);
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(line, number);
  });
  std::string& shown = terminal.Line().Received;
  const auto type = [&](const std::string& text, const std::string& answer) {
    shown.clear();
    terminal.Line().Send(text);
    EXPECT_TRUE(WaitFor([&] { return shown.find(answer) != std::string::npos; })) << text << shown;
  };
  type("", "torvy> ");
  const std::string status = Contents(("/proc/" + std::to_string(simulator.Id()) + "/status").c_str());
  EXPECT_THAT(status, HasSubstr("SigBlk:\t0000000000000000"));  // in the background, SIGTTOU stops it
  type("exp\t\t", "expect memory");
  type("\x03", "^C");
  type("stream -1\r", "stream requires a number from 1 to 1000000");
  type("command \xC3\xBCx ON\r", "unit \xC3\xBCx,");
  type("0102", "0102");
  type("\x1a", "");
  const auto continued = [&] {
    // Without a shell the system does not stop it, and editing continues; an emulator stops it all the same.
    siginfo_t stopped{};
    waitid(P_PID, static_cast<id_t>(simulator.Id()), &stopped, WSTOPPED | WNOHANG);
    if (stopped.si_pid != 0) simulator.Signal(SIGCONT);
    return shown.find("torvy> 0102") != std::string::npos;
  };
  EXPECT_TRUE(WaitFor(continued)) << shown;
  type(" ON\r", "unit 0102 up (ON)");
  type("\x1b[A\r", "unit 0102 up (ON)");
  type("expect lo\tno\r", "g no\r\n");  // as shown by the editor, not the echo of early input
  type("\x03", "interrupted while waiting for the log entry \"no\"");
  type("fault host close\rxyz", "torvy> xyz\r\x1b[J");  // hidden for an event
  EXPECT_TRUE(WaitFor([&] { return simulator.Status().has_value(); }));
  EXPECT_EQ(simulator.Status(), 1) << shown;  // because an expectation was ended with Ctrl-C
  int waiting = -1;
  ASSERT_EQ(ioctl(shell.Number(), FIONREAD, &waiting), 0);
  EXPECT_EQ(waiting, 0);
}

}  // namespace

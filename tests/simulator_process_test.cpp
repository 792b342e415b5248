// The simulator as a child process, which starts the real driver.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "peers/child_process.h"
#include "tests/bytes.h"
#include "tests/stream_fixtures.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

const std::string kPassed = "the session passed\n";
const std::string kFailed = "the session failed\n";

class Simulator : public testing::Test {
 protected:
  const std::string folder = testing::TempDir() + "torvy-simulator-" + std::to_string(getpid());

  void SetUp() override { ASSERT_EQ(mkdir(folder.c_str(), 0700), 0); }
  void TearDown() override { std::filesystem::remove_all(folder); }

  // Returns the path of a file in the test's folder; creates it, executable, if `text` is not empty.
  std::string File(const std::string& name, const std::string& text = {}) const {
    const std::string path = folder + "/" + name;
    if (!text.empty()) std::ofstream(path) << text;
    chmod(path.c_str(), 0700);
    return path;
  }
  // Starts the simulator with files as its standard input and, if given, standard output.
  static std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& options,
                                             const std::string& input = "/dev/null", const std::string& output = {}) {
    return std::make_unique<ChildProcess>(TORVY_SIMULATOR, options, [&] {
      dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
      if (!output.empty()) dup2(open(output.c_str(), O_WRONLY), STDOUT_FILENO);
      dup2(STDOUT_FILENO, STDERR_FILENO);
    });
  }
  // Waits for the simulator to end, expects its exit status, and returns its output.
  static std::string OutputOf(ChildProcess& simulator, int status) {
    EXPECT_TRUE(WaitFor([&] { return simulator.Status() && simulator.Output().Ended; }, std::chrono::minutes(2)));
    EXPECT_EQ(simulator.Status(), status) << simulator.Output().Received;
    return simulator.Output().Received;
  }
  static void WaitForOutput(ChildProcess& simulator, const std::string& text) {
    EXPECT_TRUE(WaitFor([&] { return simulator.Output().Received.find(text) != std::string::npos; }))
        << text << " is not in " << simulator.Output().Received;
  }
};

TEST_F(Simulator, RejectsInvalidInput) {
  const std::string late = File("late", "0102 ON\nover ip\n");
  const std::string serial = File("serial", "over serial\n0102 ON\n");
  const std::string device = File("device", "0102 ON\nexpect 0102U\n");
  const struct {
    std::vector<std::string> options;
    std::string message;
  } cases[] = {{{"--device", "nowhere"}, "invalid address \"nowhere\""},
               {{"--device", "192.0.2.7:4001"}, "moves the units 0102 and 0304 of the device at 192.0.2.7; allow it"},
               {{"--yes", "--port", "none", "--other-end", "none"}, "/dev/none: No such file"},
               {{"--stand-in", "--link", late}, late + ": File exists"},
               {{"--script", "-"}, "standard input contains no steps"},
               {{"--script", File("wrong", "0102 ON\nfoo\n")}, "wrong:2: unknown step \"foo\""},
               {{"--script", late}, late + ":2: over ip can only be a script's first step"},
               {{"--ip", "--script", serial}, serial + " is for a device on a serial line"},
               {{"--port", "none", "--script", device}, device + ":2: a real device cannot be observed"},
               {{"--driver", "no-such-driver"}, "is not a program in PATH"},
               {{"--record", "-"}, "--record needs a file"},
               {{"--script", "/dev/zero"}, "/dev/zero is longer than 1 MiB"}};
  for (const auto& c : cases) EXPECT_THAT(OutputOf(*Start(c.options), 2), HasSubstr(c.message));
  for (const std::string option : {"--port", "--device", "--script", "--driver", "--record", "--listen", "--link"}) {
    EXPECT_THAT(OutputOf(*Start({"--stand-in", option, ""}), 2), HasSubstr(option + ": is empty"));
  }
}

TEST_F(Simulator, ReportsOutcomeOfSession) {
  PseudoTerminal port;
  const auto script = [this](const std::string& name, const std::string& text) {
    return Start({"--script", File(name, text)});
  };
  const auto serial = Start({});
  const auto over_ip = Start({"--ip", "--verbose", "--color=always"});
  const auto real = Start({"--port", port.Path(), "--yes"});
  const auto full = Start({}, "/dev/null", "/dev/full");
  const auto help_full = Start({"--help"}, "/dev/null", "/dev/full");
  const auto standard_input = Start({"--script", "-"}, File("in", "0102 ON\r\n\nexpect 0102U\nquit\nexpect end"));
  const auto more_bytes = script("more", "over ip\n0102 ON\nexpect 0102U\nraw 21\nwait 200\n");
  const auto ended = script("ended", "fault host close\nexpect end\n0102 ON\n");
  const std::string wrapper = "#!/bin/sh\nsleep 60 2>/dev/null &\nexec " TORVY_DRIVER " \"$@\"\n";
  const auto wrapped = Start({"--driver", File("wrapper", wrapper)});
  EXPECT_THAT(OutputOf(*serial, 0), AllOf(HasSubstr("driver -> device  0304S  unit 0304 stop\n"),
                                          HasSubstr("as expected       0304S\n"), EndsWith("status 0\n" + kPassed)));
  EXPECT_THAT(OutputOf(*over_ip, 0), AllOf(HasSubstr("mcmd = ON"), HasSubstr("\x1b[32m"), EndsWith(kPassed)));
  EXPECT_THAT(OutputOf(*real, 0), EndsWith("passed on the host side only: a real device cannot be observed\n"));
  OutputOf(*full, 1);
  OutputOf(*help_full, 1);
  EXPECT_THAT(OutputOf(*standard_input, 0), EndsWith(kPassed));
  EXPECT_THAT(OutputOf(*more_bytes, 1), HasSubstr("the device received unexpected bytes: !  (raw bytes)\n" + kFailed));
  EXPECT_THAT(OutputOf(*ended, 1), AllOf(HasSubstr("driver's console  Quorvane Pipe Error\n"),
                                         HasSubstr("ended:3: the link to the driver is closed; nothing can be sent\n"),
                                         Not(HasSubstr("device link"))));
  EXPECT_THAT(OutputOf(*wrapped, 0), EndsWith("still has the driver's standard output open\n" + kPassed));
}

TEST_F(Simulator, ChecksEachLineFromPipe) {
  const auto wrong = Start({"--interactive"}, File("wrong", "foo\nover ip\n0102 ON\nexpect 0102U"));
  const std::string lines = "0102 ON\nexpect 77D\n0102 OFF\nexpect 0102D\n0102 DIM\nexpect log no\n";
  const auto failed =
      Start({"--interactive", "--timeout", "2"}, File("failed", lines + "expect log unsupported command: DIM\n"));
  EXPECT_THAT(OutputOf(*wrong, 2), AllOf(HasSubstr("standard input:1: unknown step \"foo\""),
                                         HasSubstr("standard input:2: over ip can only be a script's first step"),
                                         HasSubstr("as expected       0102U\n")));
  EXPECT_THAT(
      OutputOf(*failed, 1),
      AllOf(HasSubstr(":2: expected the device to receive \"77D\", but it received \"0102U\"\n"),
            HasSubstr("as expected       0102D\n"), HasSubstr("input:6: timed out waiting for the log entry \"no\""),
            HasSubstr("as expected       log unsupported")));
}

TEST_F(Simulator, ObservesOtherEndOfRealLineAndRecords) {
  PseudoTerminal port;
  PseudoTerminal other_end;
  port.Line().OnChange = [&] { other_end.Line().Send(std::exchange(port.Line().Received, {})); };
  const std::string record = File("record", "the last recording");
  const std::string script = File("script", "debug\n0102 ON\nexpect 0102U\nraw 65 6E 64\nexpect \\65nd\nexpect idle\n");
  ChildProcess first(TORVY_SIMULATOR,
                     {"--port", port.Path(), "--other-end", other_end.Path(), "--script", script, "--record", record},
                     [] {
                       for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(number);
                     });
  OutputOf(first, 0);
  std::ifstream file(record);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  // It takes the driver half a second to become idle.
  EXPECT_GE(std::erase_if(lines, [](const std::string& line) { return line.starts_with("wait "); }), 1U);
  // Device bytes and log entries arrive over two links, in any order.
  EXPECT_THAT(lines, UnorderedElementsAre("# recorded by torvy-simulator", "over serial", "debug", "0102 ON",
                                          "expect 0102U", "expect log received command from Quorvane:\\20",
                                          "expect log sending command: (0102U)", "raw 65 6E 64", "expect \\65nd",
                                          "expect log received command from Quorvane: X", "quit",
                                          "expect log received command from Quorvane: Q",
                                          "expect log The torvy plx has been asked to quit. (1)", "expect end"));
  EXPECT_THAT(OutputOf(*Start({"--script", record}), 0), EndsWith(kPassed));
}

TEST_F(Simulator, ReplaysItsRecording) {
  const std::string record = File("record");
  const std::string script = "0102 DIM\nwait 900\n0102 ON\nfault device close\n0304 OFF\nwait 60000\n";
  const auto first = Start({"--record", record, "--script", File("script", script)});
  WaitForOutput(*first, "what was sent is lost\n");
  first->Signal(SIGQUIT);
  OutputOf(*first, 1);
  OutputOf(*Start({"--script", record, "--record", record}), 0);
  const std::string steps = Contents(record.c_str());
  EXPECT_THAT(steps, AllOf(HasSubstr("\nwait 900\n"), Not(HasSubstr("wait 60000"))));
  EXPECT_EQ(steps.find("\nwait 9"), steps.rfind("\nwait 9"));  // not again as a pause
}

TEST_F(Simulator, FailsIfCommandsAreLost) {
  PseudoTerminal port;
  PseudoTerminal other_end;
  port.Line().OnChange = [&] { other_end.Line().Send(std::exchange(port.Line().Received, {})); };
  const std::string input = File("input");
  ASSERT_EQ(mkfifo(input.c_str(), 0600), 0);
  const platform::Descriptor steps(open(input.c_str(), O_RDWR | O_CLOEXEC));
  const auto simulator = Start({"--interactive", "--port", port.Path(), "--other-end", other_end.Path()}, input);
  ASSERT_EQ(write(steps.Number(), "0102 ON\n", 8), 8);
  WaitForOutput(*simulator, "unit 0102 up");
  other_end.HangUp();
  ASSERT_EQ(write(steps.Number(), "0304 OFF\nquit\n", 14), 14);
  EXPECT_THAT(OutputOf(*simulator, 1),
              HasSubstr("standard input:2: the device link was lost, and with it what was sent\n"));
}

TEST_F(Simulator, ObeysTimeoutAndCanBeInterrupted) {
  const std::string silent = File("silent", "#!/bin/sh\nexec sleep 1000\n");
  const std::string record = File("record", "the last recording\n");
  const std::string script = File("script");
  ASSERT_EQ(mkfifo(script.c_str(), 0600), 0);
  const auto never_connects = Start({"--driver", silent, "--timeout", "1", "--record", record});
  const auto reads_script = Start({"--script", script});
  int writer = -1;
  ASSERT_TRUE(WaitFor([&] { return (writer = open(script.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }));
  reads_script->Signal(SIGINT);
  OutputOf(*reads_script, 128 + SIGINT);
  close(writer);
  EXPECT_THAT(OutputOf(*never_connects, 1), EndsWith("timed out waiting for the driver to connect\n"
                                                     "the driver had not connected; the simulator killed it\n" +
                                                     kFailed));
  EXPECT_EQ(Contents(record.c_str()), "the last recording\n");
}

TEST_F(Simulator, StandsInForSerialDevice) {
  const std::string link = File("line");
  ASSERT_EQ(symlink("/nowhere", link.c_str()), 0);
  const auto device = Start({"--stand-in", "--link", link});
  WaitForOutput(*device, "the interface is at " + link + "\n");
  for (const std::string command : {"0102U", "0304D"}) {  // one driver disconnects and the next connects
    const platform::Descriptor port(open(link.c_str(), O_RDWR | O_NOCTTY));
    ASSERT_EQ(write(port.Number(), command.data(), command.size()), 5);
    WaitForOutput(*device, command + "  unit ");
  }
  device->Signal(SIGQUIT);
  EXPECT_THAT(OutputOf(*device, 0),
              ContainsRegex("\n....-..-..\n..:..:..\\....  driver -> device  0102U  unit 0102 up \\(ON\\)\n"));
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_F(Simulator, ShowsEveryDriverOverTCP) {
  const std::string address = "127.0.0.9";  // where no other test uses ports
  const std::int32_t port = Listener(address).Port();
  const std::vector<std::string> options{"--stand-in", "--listen", address + ":" + std::to_string(port)};
  const auto device = Start(options);
  WaitForOutput(*device, "Press Ctrl-C to stop.\n");
  platform::Client first(address, port);
  platform::Client second(address, port);
  first.Connect();
  first.Write("0102U");
  WaitForOutput(*device, "driver -> device  0102U  unit 0102 up (ON)\n");
  second.Connect();
  WaitForOutput(*device, "driver 2 connected\n");
  first.Write("0304D");
  WaitForOutput(*device, "driver 1: 0304D  unit 0304 down (OFF)\n");
  device->Signal(SIGINT);
  OutputOf(*device, 0);
  WaitForOutput(*Start(options), "Press Ctrl-C to stop.\n");  // despite connections in TIME_WAIT
}

TEST_F(Simulator, EditsLinesAtTerminal) {
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
  type("stream -1\r", "stream takes a number from 1 to 1000000");
  type("command \xC3\xBCx ON\r", "unit \xC3\xBCx,");
  type("0102", "0102");
  shown.clear();
  simulator.Signal(SIGTSTP);
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
  type("fault host close\r" + std::string(100, 'x'), "\x1b[1A\r\x1b[J");  // on two rows, hidden for an event
  EXPECT_TRUE(WaitFor([&] { return simulator.Status().has_value(); }));
  EXPECT_EQ(simulator.Status(), 1) << shown;  // because an expectation was ended with Ctrl-C
  int waiting = -1;
  ASSERT_EQ(ioctl(shell.Number(), FIONREAD, &waiting), 0);
  EXPECT_EQ(waiting, 0);
}

}  // namespace

// The simulator as a child process, with the real driver as its own.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "peers/child_process.h"
#include "peers/pseudo_terminal.h"
#include "peers/waiting.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const std::string kNoDevice = "/dev/null";

// Files for one test, in a folder of their own.
class Simulator : public testing::Test {
 protected:
  const std::string folder = testing::TempDir() + "torvy-simulator-" + std::to_string(getpid());

  void SetUp() override { ASSERT_EQ(mkdir(folder.c_str(), 0700), 0); }
  void TearDown() override {
    for (const std::string& file : files_) unlink(file.c_str());
    rmdir(folder.c_str());
  }

  std::string File(const std::string& name, const std::string& text = {}) {
    files_.push_back(folder + "/" + name);
    if (!text.empty()) std::ofstream(files_.back()) << text;
    return files_.back();
  }
  // Starts the simulator with files as its standard input and, unless it is empty, output.
  std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& options, const std::string& input = kNoDevice,
                                      const std::string& output = {}) {
    return std::make_unique<ChildProcess>(TORVY_SIMULATOR, options, [&] {
      dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
      if (!output.empty()) dup2(open(output.c_str(), O_WRONLY), STDOUT_FILENO);
      dup2(STDOUT_FILENO, STDERR_FILENO);
    });
  }
  static void WaitForEnd(ChildProcess& simulator) {
    EXPECT_TRUE(WaitFor([&] { return simulator.Status() && simulator.Output().Ended; }, std::chrono::minutes(2)));
  }

 private:
  std::vector<std::string> files_;
};

TEST_F(Simulator, RefusesWhatIsWrongAndTellsHowASessionWent) {
  const std::string empty = File("empty", "# nothing to do\n\n");
  const std::string wrong = File("wrong", "0102 ON\nfoo\n");
  const std::string late = File("late", "0102 ON\nover ip\n");
  const std::string serial = File("serial", "over serial\n0102 ON\n");
  const std::string sight = File("sight", "0102 ON\nexpect 0102U\n");
  const std::string other = File("other-byte", "0102 ON\nexpect 0102D\n");
  const std::string more_bytes = File("more-bytes", "over ip\n0102 ON\nexpect 0102U\nraw 21\nwait 200\n");
  const std::string in_vain = File("in-vain", "quit\nexpect log no\n");
  const std::string right = File("right", "0102 ON\r\n\nexpect 0102U\nquit\nexpect end\n");
  const std::string typed_wrong = File("typed-wrong", "foo\n0102 ON\nexpect 0102U");
  const std::string typed_in_vain = File("typed-in-vain", "expect log no\n0102 ON\nexpect 0102U\nexit\n");
  PseudoTerminal real_port;
  const std::string went_well = "all as it should be\n";
  const std::string sees_0102 = "as expected       0102U\n";
  const struct {
    int status;
    std::vector<std::string> options;
    std::vector<std::string> shows;
    std::string end = {};
    std::string input = kNoDevice;
    std::string output = {};
  } cases[] = {
      {2, {"--port"}, {"--port"}},
      {2, {"--device", "nowhere"}, {"\"nowhere\" is no device"}},
      {2, {"--device", "[::1]:1x"}, {"\"[::1]:1x\" is no device"}},
      {2, {"--device=::1:4001"}, {"\"::1:4001\" is no device"}},
      {2, {"--device", "192.0.2.7:65536"}, {"a port is 1 to 65535"}},
      {2, {"--ip", "--port", "/dev/null"}, {"--port"}},
      {2, {"--other-end", "/dev/null"}, {"--port"}},
      {2, {"--patience", "0"}, {"--patience"}},
      {2, {"--color=often"}, {"--color"}},
      {2, {"unexpected"}, {"unexpected"}},
      {2, {"--script", "/no/file"}, {"cannot read /no/file"}},
      {2, {"--script", folder}, {folder + " is a folder"}},
      {2, {"--script", empty}, {empty + " holds no step"}},
      {2, {"--script", "-"}, {"standard input holds no step"}},
      {2, {"--script", wrong}, {wrong + ":2: \"foo\" is no step"}},
      {2, {"--script", late}, {late + ":2: over ip can only be a script's first step"}},
      {2, {"--ip", "--script", serial}, {serial + " is for a device on a serial line"}},
      {2, {"--port", "/dev/null", "--script", sight}, {sight + ":2: what reaches a real device cannot be seen"}},
      {2, {"--driver", "/no/such/driver"}, {"/no/such/driver"}},
      {2, {"--driver", "no-such-driver"}, {"is no program in PATH"}},
      {2, {"--record", "/no/file"}, {"/no/file"}},
      {0, {}, {"driver -> device  0304S  unit 0304 stop\n", "as expected       0304S\n"}, "status 0\n" + went_well},
      {0, {"--ip", "--verbose", "--color=always"}, {"mcmd = ON", "\x1b[32m"}, went_well},
      {1, {}, {}, "", kNoDevice, "/dev/full"},
      {1, {"--help"}, {}, "", kNoDevice, "/dev/full"},
      {0, {"--port", real_port.Path()}, {}, "what reached the device cannot be seen from here\n"},
      {1, {"--script", other}, {other + ":2: expected the device to get \"D\" after 4 right bytes, it got \"U\"\n"}},
      {1, {"--script", more_bytes}, {"the device got more than was expected: !  (raw bytes)\n"}},
      {1, {"--script", in_vain}, {in_vain + ":2: waited in vain for the log line \"no\""}},
      {0, {"--script", "-"}, {}, went_well, right},
      {2, {"--interactive"}, {"standard input:1: \"foo\" is no step", sees_0102}, "", typed_wrong},
      {1, {"--interactive", "--patience", "1"}, {"standard input:1: waited in vain", sees_0102}, "", typed_in_vain}};
  std::vector<std::unique_ptr<ChildProcess>> simulators;
  for (const auto& c : cases) simulators.push_back(Start(c.options, c.input, c.output));
  for (std::size_t i = 0; i < simulators.size(); ++i) {
    WaitForEnd(*simulators[i]);
    EXPECT_EQ(simulators[i]->Status(), cases[i].status) << simulators[i]->Output().Received;
    for (const std::string& text : cases[i].shows) EXPECT_THAT(simulators[i]->Output().Received, HasSubstr(text));
    EXPECT_THAT(simulators[i]->Output().Received, EndsWith(cases[i].end));
  }
}

TEST_F(Simulator, WatchesTheOtherEndOfARealLineAndRecords) {
  PseudoTerminal port;
  PseudoTerminal other_end;
  port.Line().OnChange = [&] { other_end.Line().Send(std::exchange(port.Line().Received, {})); };
  const std::string record = File("record");
  const std::string script = File("script", "debug\n0102 ON\nexpect 0102U\nraw 65 6E 64\nexpect \\65nd\nwait 200\n");
  const auto first =
      Start({"--port", port.Path(), "--other-end", other_end.Path(), "--script", script, "--record", record});
  WaitForEnd(*first);
  EXPECT_EQ(first->Status(), 0) << first->Output().Received;
  std::ifstream file(record);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  // Device bytes and log lines come over two links, in either order.
  EXPECT_THAT(lines, UnorderedElementsAre("# recorded by torvy-simulator", "over serial", "debug", "0102 ON",
                                          "expect 0102U", "expect log received command from Quorvane:\\20",
                                          "expect log sending command: (0102U)", "raw 65 6E 64", "expect \\65nd",
                                          "expect log received command from Quorvane: X", "wait 200", "quit",
                                          "expect log received command from Quorvane: Q",
                                          "expect log The torvy plx has been asked to quit. (1)", "expect end"));
  const auto again = Start({"--script", record});
  WaitForEnd(*again);
  EXPECT_EQ(again->Status(), 0) << again->Output().Received;
}

TEST_F(Simulator, StandsInForTheDevice) {
  const auto device = Start({"--stand-in"});
  const std::string kStart = "the interface is at ";
  std::string& output = device->Output().Received;
  for (int driver = 0; driver < 2; ++driver) {  // one may leave and the next come
    ASSERT_TRUE(WaitFor([&] { return output.find("Ctrl-C ends.\n") != std::string::npos; }));
    ASSERT_THAT(output, StartsWith(kStart));
    const std::string path = output.substr(kStart.size(), output.find('\n') - kStart.size());
    const platform::Descriptor port(open(path.c_str(), O_RDWR | O_NOCTTY));
    ASSERT_EQ(write(port.Number(), "0102U", 5), 5);
    EXPECT_TRUE(WaitFor([&] { return output.ends_with("0102U  unit 0102 up (ON)\n"); })) << output;
  }
  device->Signal(SIGINT);
  WaitForEnd(*device);
  EXPECT_EQ(device->Status(), 0);
}

TEST_F(Simulator, IsTypedToAtATerminal) {
  PseudoTerminal terminal;
  const platform::Descriptor shell(open(terminal.Path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  ChildProcess simulator(TORVY_SIMULATOR, {"--interactive"}, [&] {
    setenv("TERM", "xterm", 1);
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
  type("exp\t\t", "expect memory");
  type("\x03", "^C");
  type("stream -1\r", "stream takes a number from 1 to 1000000");
  type("expect lo\tno\r", "g no\r\n");  // as the editor shows it, not the line that echoes what comes early
  type("\x03", "interrupted while waiting for the log line \"no\"");
  type(
      "command \xC3\xBC"
      "7 ON\r",
      "unit at \xC3\xBC"
      "7,");
  type("0102", "0102");
  shown.clear();
  simulator.Signal(SIGTSTP);  // without a shell above it goes on, and edits as before
  EXPECT_TRUE(WaitFor([&] { return shown.find("torvy> 0102") != std::string::npos; })) << shown;
  type(" ON\r", "unit 0102 up (ON)");
  type("\x1b[A\r", "unit 0102 up (ON)");
  type("fault host close\r" + std::string(100, 'x'), "\x1b[1A\r\x1b[J");  // typed on two rows, and hidden for an event
  EXPECT_TRUE(WaitFor([&] { return simulator.Status().has_value(); }));
  EXPECT_EQ(simulator.Status(), 0) << shown;
  int waiting = -1;
  ASSERT_EQ(ioctl(shell.Number(), FIONREAD, &waiting), 0);
  EXPECT_EQ(waiting, 0);
}

}  // namespace

// The real driver as a child process, as the host sees it from start to end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "app/app.h"
#include "app/process_state.h"
#include "host/connection.h"
#include "host/host_socket.h"
#include "peers/child_process.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "peers/waiting.h"
#include "platform/ticks.h"

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

const std::string kReady = "2 " + std::string(App::kReadyLine);
constexpr const char* kQuit = "2 The torvy plx has been asked to quit. (1)";

class DriverProcess : public testing::Test {
 protected:
  SimulatedHost host;
  PseudoTerminal terminal;
  Listener network_device;
  std::unique_ptr<ChildProcess> driver;

  void Start(const std::vector<std::string>& arguments, const std::function<void()>& prepare = nullptr) {
    driver = std::make_unique<ChildProcess>(TORVY_DRIVER, arguments, prepare);
  }
  void StartSerial(const std::string& port, const std::function<void()>& prepare = nullptr) {
    Start({port, "", std::to_string(host.Port()), "17"}, prepare);
    ASSERT_TRUE(WaitFor([this] { return host.Link() != nullptr && host.ConnectionID() == "17"; }));
  }
  bool WaitUntilReady() {
    return WaitFor([this] { return host.HasLogged(App::kReadyLine); });
  }
  // Waits for the driver's end, and expects it with status 0 and nothing but this on the console.
  void ExpectEnd(const std::string& console = "") {
    EXPECT_TRUE(WaitFor([this] { return driver->Status() && driver->Output().Ended; }));
    EXPECT_EQ(driver->Status(), 0);
    EXPECT_EQ(driver->Output().Received, console);
    EXPECT_EQ(host.Unexpected(), "");
  }
};

TEST_F(DriverProcess, FewArgumentsShowTheBannerOrTheUsage) {
  Start({"IP"});
  ExpectEnd("Quorvane Torvy Driver\r\nCopyright (c) 2026 the Torvy driver developers\r\nversion 1 (build 001)\r\n");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, {"a", "b"}, {"a", "b", "c"}}) {
    Start(arguments);
    ASSERT_TRUE(WaitFor([this] { return driver->Status() && driver->Output().Ended; }));
    EXPECT_EQ(driver->Status(), 0);
    EXPECT_THAT(driver->Output().Received, MatchesRegex("usage: torvy-driver PORT [^\n]*\n"));
  }
}

TEST_F(DriverProcess, DrivesASerialDevice) {
  StartSerial(terminal.Path());
  ASSERT_TRUE(WaitUntilReady());
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(DeviceCommand("0102", "DIM", "2"));
  host.Send(RawDataCommand(std::string("\0\xFF\r", 3)));
  EXPECT_TRUE(WaitFor([this] { return terminal.Line().Received == std::string("0102U\0\xFF\r", 8); }));
  terminal.Line().Send("what the device says is ignored");
  host.Send(ControllerCommand("D"));
  host.Send(DeviceCommand("0304", "Stop", "3"));
  host.Send(ControllerCommand("Q"));
  ExpectEnd();
  EXPECT_THAT(host.Lines(), ElementsAre(kReady, "4 unsupported command: DIM", "2 received command from Quorvane: ",
                                        "4 sending command: (0304S)", "2 received command from Quorvane: Q", kQuit));
  EXPECT_TRUE(terminal.Line().Ended);
}

TEST_F(DriverProcess, DrivesANetworkDevice) {
  Start(
      {"Ip", "127.0.0.1", std::to_string(host.Port()), "", "more", "127.0.0.1", std::to_string(network_device.Port())});
  ASSERT_TRUE(WaitUntilReady());
  EXPECT_EQ(host.ConnectionID(), "");
  host.Send(DeviceCommand("0102", "ON", "1"));
  EXPECT_TRUE(WaitFor([this] { return network_device.Peer()->Received == "0102U"; }));
  host.Send(ControllerCommand("P"));
  ExpectEnd();
  EXPECT_THAT(host.Lines(), ElementsAre(kReady, "2 The torvy plx has been asked to quit. (2)"));
}

TEST_F(DriverProcess, PortThatCannotBeHadIsLogged) {
  StartSerial("no-such-port");
  ExpectEnd();
  StartSerial("/dev/null");
  ExpectEnd();
  EXPECT_THAT(host.Lines(), ElementsAre("4 torvy: unable to find a serial port named: no-such-port",
                                        "4 torvy: unable to open the port named: /dev/null"));
}

TEST_F(DriverProcess, ServesTheHostWhileTheDeviceDoesNotAnswer) {
  const std::int32_t refused_port = Listener().Port();
  Start({"IP", "127.0.0.1", std::to_string(host.Port()), "17", "127.0.0.1", std::to_string(refused_port)});
  ASSERT_TRUE(WaitFor([this] { return host.ConnectionID() == "17"; }));
  const std::int64_t start = platform::Ticks();
  host.Send(ControllerCommand("D"));
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(RawDataCommand("0102U"));
  host.Send(ControllerCommand("Q"));
  ExpectEnd();
  EXPECT_GE(platform::Ticks() - start, 600);
  // Whether the lines on the start are there depends on when the "D" came.
  std::vector<std::string> lines = host.Lines();
  std::erase_if(lines, [](const std::string& line) {
    return line.starts_with("4 Quorvane connection ") || line.starts_with("4 torvy making ") ||
           line.starts_with("4 torvy opening ");
  });
  EXPECT_THAT(lines, ElementsAre("2 received command from Quorvane: ", "2 received command from Quorvane: X",
                                 "2 received command from Quorvane: Q", kQuit,
                                 MatchesRegex("4 torvy Connection failed to open after [6-9][0-9]+ ticks\\."),
                                 "2 IP Open  to 127.0.0.1:" + std::to_string(refused_port) + " failed."));
}

TEST_F(DriverProcess, HostThatDoesNotListenIsWaitedFor) {
  const std::int64_t start = platform::Ticks();
  Start({terminal.Path(), "127.0.0.1", std::to_string(Listener().Port()), "17"});
  ExpectEnd("Quorvane Pipe Error\n\nTorvy: Timeout waiting for answer from Quorvane\r\n");
  EXPECT_GE(platform::Ticks() - start, 900);
}

TEST_F(DriverProcess, StandardDescriptorsAreClosed) {
  StartSerial(terminal.Path(), [] {
    for (const int number : {0, 1, 2}) close(number);
  });
  ASSERT_TRUE(WaitUntilReady());
  host.Link()->Close();  // makes it print
  ExpectEnd();
  EXPECT_EQ(terminal.Line().Received, "");
}

TEST_F(DriverProcess, ConsoleIsAClosedPipe) {
  StartSerial(terminal.Path());
  driver->Output().Close();
  host.Link()->Close();
  EXPECT_TRUE(WaitFor([this] { return driver->Status().has_value(); }));
  EXPECT_EQ(driver->Status(), 0);
}

TEST_F(DriverProcess, EightDescriptorsAreEnough) {
  StartSerial(terminal.Path(), [] {
    const rlimit eight{8, 8};
    setrlimit(RLIMIT_NOFILE, &eight);
  });
  ASSERT_TRUE(WaitUntilReady());
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(ControllerCommand("Q"));
  ExpectEnd();
  EXPECT_EQ(terminal.Line().Received, "0102U");
}

TEST(ConnectToHost, AppliesItsDefaultsAndReplacesTheSocket) {
  ConnectToHost("", 0, "17");
  EXPECT_EQ(State().HostSocket->Address + ":" + std::to_string(State().HostSocket->Port), "127.0.0.1:20300");
  SimulatedHost host;
  for (const char* id : {"first", "second"}) {
    ConnectToHost("127.0.0.1", host.Port(), id);
    EXPECT_TRUE(WaitForHostConnection(15));
  }
  const std::int64_t start = platform::Ticks();
  ConnectToHost("127.0.0.1", Listener().Port(), "17");
  EXPECT_FALSE(WaitForHostConnection(1));
  EXPECT_GE(platform::Ticks() - start, 60);
  State().HostSocket.reset();
}

}  // namespace

// The driver from its start to its end, as the host sees it.

#include <gmock/gmock.h>

#include "app/process_state.h"
#include "host/connection.h"
#include "host/device_socket.h"
#include "platform/ticks.h"
#include "tests/driver_run.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Texts(const std::vector<SimulatedHost::LogLine>& log) {
  std::vector<std::string> texts;
  for (const auto& line : log) texts.push_back(std::to_string(line.level) + " " + line.text);
  return texts;
}

using DriverProcess = DriverRun;

TEST_F(DriverProcess, OneArgumentShowsTheBanner) {
  Start({"IP"});
  EXPECT_EQ(End(), 0);
  EXPECT_EQ(Console(),
            "Quorvane Torvy Driver\r\n"
            "Copyright (c) 2026 the Torvy driver developers\r\n"
            "version 1 (build 001)\r\n");
}

TEST_F(DriverProcess, TooFewArgumentsShowTheUsage) {
  const std::vector<std::string> cases[] = {{}, {"a", "b"}, {"a", "b", "c"}};
  for (const auto& arguments : cases) {
    Start(arguments);
    EXPECT_EQ(End(), 0);
    EXPECT_THAT(Console(), testing::MatchesRegex("usage: torvy-driver PORT [^\n]*\n"));
  }
}

TEST_F(DriverProcess, DrivesASerialDevice) {
  StartSerialAndWait();
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(DeviceCommand("0102", "off", "2"));
  host.Send(DeviceCommand("0102", "DIM", "3"));
  host.Send(RawDataCommand(std::string("\0\xFF\r", 3)));
  EXPECT_TRUE(Got(SerialDevice(), std::string("0102U0102D\0\xFF\r", 13)));
  SerialDevice().Send("what the device says is ignored");
  host.Send(ControllerCommand("D"));
  host.Send(DeviceCommand("0304", "Stop", "4"));
  EXPECT_TRUE(Logged("sending command: (0304S)"));
  EXPECT_EQ(Quit(), 0);
  EXPECT_THAT(Texts(host.Log()), ElementsAre(std::string("2 ") + kReady,                       //
                                             "4 unsupported command: DIM",                     //
                                             "2 received command from Quorvane: ",             //
                                             "4 sending command: (0304S)",                     //
                                             "2 received command from Quorvane: Q",            //
                                             "2 The torvy plx has been asked to quit. (1)"));  //
  EXPECT_EQ(host.Unexpected() + Console(), "");
  EXPECT_TRUE(SerialDevice().Ended);
}

TEST_F(DriverProcess, DrivesANetworkDevice) {
  StartIPAndWait();
  host.Send(DeviceCommand("0102", "ON", "1"));
  EXPECT_TRUE(Got(NetworkDevice(), "0102U"));
  host.Send(ControllerCommand("P"));
  EXPECT_TRUE(Logged("The torvy plx has been asked to quit. (2)"));
  EXPECT_EQ(End(), 0);
  EXPECT_EQ(host.Log().size(), 2U);
  EXPECT_EQ(Console(), "");
}

TEST_F(DriverProcess, PortThatCannotBeHadEndsItInOrder) {
  const std::pair<const char*, const char*> cases[] = {
      {"no-such-port", "4 torvy: unable to find a serial port named: no-such-port"},
      {"/dev/null", "4 torvy: unable to open the port named: /dev/null"}};
  for (const auto& [port, line] : cases) {
    SimulatedHost own_host;
    Start({port, "127.0.0.1", std::to_string(own_host.Port()), "17"});
    EXPECT_EQ(End(), 0);
    EXPECT_THAT(Texts(own_host.Log()), ElementsAre(line));
    EXPECT_EQ(Console(), "");
  }
}

TEST_F(DriverProcess, ServesTheHostWhileTheDeviceDoesNotAnswer) {
  std::int32_t refused_port = 0;
  {
    const Listener gone;
    refused_port = gone.Port();
  }
  StartIP(refused_port);
  host.Send(ControllerCommand("D"));
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(RawDataCommand("0102U"));
  host.Send(ControllerCommand("Q"));
  EXPECT_TRUE(Logged("The torvy plx has been asked to quit. (1)"));
  const std::int64_t start = platform::Ticks();
  EXPECT_EQ(End(), 0);
  EXPECT_GE(platform::Ticks() - start, 500);
  // Whether the lines on the start are there depends on when the "D" came.
  std::vector<std::string> lines = Texts(host.Log());
  std::erase_if(lines, [](const std::string& line) {
    return line.starts_with("4 Quorvane connection successful after: ") || line.starts_with("4 torvy making IP ") ||
           line.starts_with("4 torvy opening IP ");
  });
  EXPECT_THAT(lines, ElementsAre("2 received command from Quorvane: ", "2 received command from Quorvane: X",
                                 "2 received command from Quorvane: Q", "2 The torvy plx has been asked to quit. (1)",
                                 testing::MatchesRegex("4 torvy Connection failed to open after 6[0-9]+ ticks\\."),
                                 "2 IP Open  to 127.0.0.1:" + std::to_string(refused_port) + " failed."));
}

TEST_F(DriverProcess, HostThatDoesNotListenIsWaitedFor) {
  std::int32_t refused_port = 0;
  {
    const Listener gone;
    refused_port = gone.Port();
  }
  const std::int64_t start = platform::Ticks();
  Start({terminal.Path(), "127.0.0.1", std::to_string(refused_port), "17"});
  EXPECT_EQ(End(), 0);
  EXPECT_GE(platform::Ticks() - start, 900);
  EXPECT_EQ(Console(), std::string(kPipeError) + "Torvy: Timeout waiting for answer from Quorvane\r\n");
}

TEST(ConnectToHost, AppliesItsDefaultsAndReplacesTheSocket) {
  ConnectToHost("", 0, "17");
  EXPECT_EQ(State().HostSocket->Address, "127.0.0.1");
  EXPECT_EQ(State().HostSocket->Port, 20300);
  SimulatedHost host;
  for (const std::string id : {"first", "second"}) {
    ConnectToHost("127.0.0.1", host.Port(), id);
    EXPECT_TRUE(WaitForHostConnection(15));
    EXPECT_TRUE(State().HostSocket->Buffer.empty());
  }
  const std::int64_t start = platform::Ticks();
  ConnectToHost("127.0.0.1", 1, "17");
  EXPECT_FALSE(WaitForHostConnection(1));
  EXPECT_GE(platform::Ticks() - start, 60);
  State().HostSocket.reset();
}

TEST(Simulator, DemonstratesBothWaysToTheDevice) {
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--ip", "--verbose"}}) {
    ChildProcess simulator(TORVY_SIMULATOR, options);
    ASSERT_TRUE(WaitFor([&simulator] { return simulator.Status() && simulator.Output().Ended; }));
    EXPECT_EQ(simulator.Status(), 0);
    const std::string& output = simulator.Output().Received;
    EXPECT_THAT(output, testing::HasSubstr("driver -> device  0304S  unit 0304 stop\n"));
    EXPECT_THAT(output, testing::EndsWith("the driver ended with status 0\nall as it should be\n"));
  }
}

TEST(Simulator, TellsWhatWasNotAsItShouldBe) {
  const std::string script = testing::TempDir() + "torvy-script-" + std::to_string(getpid());
  const struct {
    const char* text;
    int status;
  } cases[] = {{"0102 ON\nexpect 0102D\n", 1},
               {"0102 ON\nexpect 0102U\nraw 21\nexpect log nothing\n", 1},
               {"# only a comment\nfoo\n", 2},
               {"0102 ON\r\n\nexpect 0102U\nquit\nexpect log The torvy plx has been asked to quit. (1)\n", 0}};
  for (const auto& c : cases) {
    FILE* file = fopen(script.c_str(), "w");
    ASSERT_NE(file, nullptr);
    fputs(c.text, file);
    fclose(file);
    ChildProcess simulator(TORVY_SIMULATOR, {"--script", script});
    ASSERT_TRUE(WaitFor([&simulator] { return simulator.Status().has_value(); }));
    EXPECT_EQ(simulator.Status(), c.status) << c.text;
  }
  remove(script.c_str());
}

TEST(Simulator, RefusesAWrongCommandLine) {
  const std::vector<std::string> cases[] = {{"--port"},
                                            {"--device", "nowhere"},
                                            {"--ip", "--port", "/dev/null"},
                                            {"--script", "/no/such/file"},
                                            {"--driver", "/no/such/driver"},
                                            {"stray"}};
  for (const auto& options : cases) {
    ChildProcess simulator(TORVY_SIMULATOR, options);
    ASSERT_TRUE(WaitFor([&simulator] { return simulator.Status().has_value(); }));
    EXPECT_EQ(simulator.Status(), 2) << options.front();
  }
}

}  // namespace

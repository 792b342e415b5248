// The complete driver in the test process, between a host and a device, on a virtual clock.

#include "app/app.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/connection.h"
#include "host/host_socket.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "ports/ip_stream_abstractor.h"
#include "ports/serial_port_abstractor.h"
#include "tests/system_calls.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::MatchesRegex;

const std::string kReady = "2 Torvy Serial Remote Control interface version 1 (build 001) ready.";
const std::string kConnected = "4 Quorvane connection successful after: [01] ticks.";

class AppTest : public testing::Test {
 protected:
  VirtualClock clock;
  SimulatedHost host;
  PseudoTerminal terminal;
  Listener network_device;
  const std::string refusing = std::to_string(Listener().Port());  // nothing listens there any more
  App app;

  std::vector<std::string> Serial(const std::string& port) const {
    return {"driver", port, "127.0.0.1", std::to_string(host.Port()), "17"};
  }
  std::vector<std::string> Ip(const std::string& device_port) const {
    return {"driver", "Ip", "127.0.0.1", std::to_string(host.Port()), "17", "127.0.0.1", device_port};
  }

  void SetUp() override { State() = {}; }

  // Runs the driver; returns its console output.
  std::string Run(const std::vector<std::string>& arguments) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(app.Event_Run(arguments), 0);
    return testing::internal::GetCapturedStdout();
  }
  // Returns how often the driver slept for `time`, not counting the pause before it connects.
  std::ptrdiff_t Sleeps(milliseconds time) const {
    return std::count(clock.sleeps.begin() + 1, clock.sleeps.end(), time);
  }
  void SendWhenReady(const cQuorvaneCommand& message) {
    host.OnLog = [this, message](const SimulatedHost::LogEntry& line) {
      if (line.text == App::kReadyLine) host.Send(message);
    };
  }
  // Stops time until the host has turned debug mode on.
  void DebugFromStart() {
    host.OnHandshake = [this] { host.Send(ControllerCommand("D")); };
    clock.may_pass = [] { return State().HostSocket == nullptr || State().DebugMode; };
  }
};

TEST_F(AppTest, PrintsBannerForOneArgumentAndUsageForTooFew) {
  EXPECT_EQ(Run({"driver", "IP"}),
            "Quorvane Torvy Driver\r\nCopyright (c) 2026 the Torvy driver developers\r\nversion 1 (build 001)\r\n");
  EXPECT_EQ(clock.sleeps, std::vector(100, milliseconds(10)));
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, {"driver"}, {"driver", "a", "b"}, {"driver", "a", "b", "c"}}) {
    EXPECT_THAT(Run(arguments), MatchesRegex("usage: torvy-driver PORT [^\n]*\n"));
  }
}

TEST_F(AppTest, WaitsFifteenSecondsForHostThatRefuses) {
  EXPECT_EQ(Run({"driver", terminal.Path(), "127.0.0.1", refusing, "17"}),
            "Quorvane Pipe Error\n\nTorvy: Timeout waiting for answer from Quorvane\r\n");
  EXPECT_GE(clock.sleeps[0], milliseconds(100));
  EXPECT_LE(clock.sleeps[0], milliseconds(3000));
  EXPECT_THAT(Sleeps(milliseconds(10)), testing::AnyOf(1599, 1600));  // the timeout is in ticks
  EXPECT_EQ(State().DevicePort, nullptr);
}

TEST_F(AppTest, ServesSerialDeviceUntilHostAsksToQuit) {
  SendWhenReady(DeviceCommand("0102", "ON", "1"));
  clock.may_pass = [this] { return State().Driver == nullptr || host.HasLogged(App::kReadyLine); };
  Calls().hooks[kPoll] = [this](long limit, auto...) {
    const bool is_fourth_loop_run = clock.sleeps.size() == 6 && limit > 0;
    if (is_fourth_loop_run) host.Send(ControllerCommand("Q"));  // received in the fifth
    return std::nullopt;
  };
  EXPECT_EQ(Run(Serial(terminal.Path())), "");
  EXPECT_EQ(Sleeps(milliseconds(1000)), 1);
  EXPECT_EQ(Sleeps(milliseconds(200)), 5);
  EXPECT_EQ(terminal.Line().Received, "0102U");
  EXPECT_TRUE(terminal.Line().Ended);  // the port was closed
  EXPECT_THAT(host.Entries(), ElementsAre(kReady, "2 The torvy plx has been asked to quit. (1)"));
  EXPECT_EQ(host.ConnectionID(), "17");
  EXPECT_EQ(std::dynamic_pointer_cast<cSerialPortAbstractor>(State().DevicePort)->Parent, State().Driver);
}

TEST_F(AppTest, ServesNetworkDeviceNamedByLastTwoArgumentsInDebugMode) {
  DebugFromStart();
  SendWhenReady(ControllerCommand("P"));
  const std::string port = std::to_string(network_device.Port());
  std::vector<std::string> arguments = Ip(port);
  arguments.insert(arguments.begin() + 5, {"127.0.0.9", "1"});
  EXPECT_EQ(Run(arguments), "");
  EXPECT_TRUE(network_device.Peer()->Ended);
  EXPECT_THAT(host.Entries(),
              ElementsAre(MatchesRegex(kConnected), "4 torvy making IP connection to (127.0.0.1) port (" + port + ")",
                          "4 torvy opening IP connection, polling and waiting...", "4 torvy Device connection event. ",
                          MatchesRegex("4 torvy Connection is open after [0-9]+ ticks."), kReady,
                          "2 received command from Quorvane: P", "2 The torvy plx has been asked to quit. (2)"));
  const auto device_port = std::dynamic_pointer_cast<cIPStreamAbstractor>(State().DevicePort);
  EXPECT_EQ(device_port->Parent, State().Driver);
  EXPECT_TRUE(device_port->InitialFlush);
}

TEST_F(AppTest, QuitBeforePortIsOpenIsObeyedWithoutServing) {
  host.OnHandshake = [this] { host.Send(ControllerCommand("Q")); };
  clock.may_pass = [] { return State().HostSocket == nullptr || State().QuitRequested; };
  EXPECT_EQ(Run(Serial(terminal.Path())), "");
  EXPECT_EQ(Sleeps(milliseconds(200)), 0);
  EXPECT_THAT(host.Entries(), ElementsAre("2 The torvy plx has been asked to quit. (1)"));
}

TEST_F(AppTest, LogsAndExitsIfSerialPortCannotBeOpened) {
  EXPECT_EQ(Run(Serial("no-such-port")), "");
  EXPECT_EQ(Sleeps(milliseconds(1000)), 1);
  EXPECT_EQ(Sleeps(milliseconds(200)), 0);
  State() = {};
  DebugFromStart();
  Run(Serial("/dev/null"));
  EXPECT_THAT(host.Entries(),
              ElementsAre("4 torvy: unable to find a serial port named: no-such-port", MatchesRegex(kConnected),
                          "4 torvy making local serial connection to port named (/dev/null)",
                          "4 torvy: unable to open the port named: /dev/null"));
}

TEST_F(AppTest, LogsNetworkStartInDebugMode) {
  DebugFromStart();
  Run(Ip(refusing));
  EXPECT_EQ(Sleeps(milliseconds(250)), 40);
  EXPECT_THAT(host.Entries(), ElementsAre(MatchesRegex(kConnected),
                                          "4 torvy making IP connection to (127.0.0.1) port (" + refusing + ")",
                                          "4 torvy opening IP connection, polling and waiting...",
                                          "4 torvy Connection failed to open after 600 ticks.",
                                          "2 IP Open  to 127.0.0.1:" + refusing + " failed."));
}

TEST(ConnectToHost, AppliesDefaultsAndReplacesSocket) {
  ConnectToHost("", 0, "17");
  const std::weak_ptr<cQuorvaneDeviceSocket> first = State().HostSocket;
  ConnectToHost("", 0, "17");
  EXPECT_TRUE(first.expired());
  EXPECT_EQ(State().HostSocket->Address, "127.0.0.1");
  EXPECT_EQ(State().HostSocket->Port, 20300);
  State() = {};
}

TEST(ProcessState, ReleasesPortThenDriverThenHostSocket) {
  std::string order;
  const auto named = [&order](const char* name) {
    return std::shared_ptr<void>(nullptr, [&order, name](void*) { order += name; });
  };
  ProcessState state;
  state.HostSocket = {named("socket"), nullptr};
  state.Driver = {named("driver "), nullptr};
  state.DevicePort = {named("port "), nullptr};
  state.Release();
  EXPECT_EQ(order, "port driver socket");
}

}  // namespace

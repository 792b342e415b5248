// The complete driver in the test process, between a host and a device, on a virtual clock.

#include "app/app.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <set>

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/connection.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "ports/ip_stream_abstractor.h"
#include "ports/serial_port_abstractor.h"
#include "tests/virtual_clock.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::MatchesRegex;

// Log entries of a session that serves a device.
const std::string kReady = "2 Torvy Serial Remote Control interface version 1 (build 001) ready.";
const std::string kQuit = "2 The torvy plx has been asked to quit. (1)";

class AppTest : public testing::Test {
 protected:
  VirtualClock clock;
  SimulatedHost host;
  PseudoTerminal terminal;
  Listener network_device;
  const std::int32_t refusing = Listener().Port();  // nothing listens there any more
  App app;
  std::string console;  // output of the last session

  std::vector<std::string> Serial(const std::string& port) const {
    return {"driver", port, "127.0.0.1", std::to_string(host.Port()), "17"};
  }
  std::vector<std::string> Ip(std::int32_t device_port) const {
    return {"driver", "Ip", "127.0.0.1", std::to_string(host.Port()), "17", "127.0.0.1", std::to_string(device_port)};
  }

  void SetUp() override { State() = {}; }

  // Runs a session; returns the pump's runs after the start pause.
  std::vector<std::string> Run(const std::vector<std::string>& arguments) {
    clock.sleeps.clear();
    testing::internal::CaptureStdout();
    EXPECT_EQ(app.Event_Run(arguments), 0);
    console = testing::internal::GetCapturedStdout();
    std::vector<std::string> runs = clock.Runs();
    runs.erase(runs.begin());
    return runs;
  }

  // Stops time until the host has received the ready line; the host then sends `message`.
  void SendWhenReady(const cQuorvaneCommand& message) {
    clock.may_pass = [this] { return State().Driver == nullptr || host.HasLogged(App::kReadyLine); };
    host.OnLog = [this, message](const SimulatedHost::LogLine& line) {
      if (line.text == App::kReadyLine) host.Send(message);
    };
  }
};

TEST_F(AppTest, PrintsBannerForOneArgumentAndUsageForTooFew) {
  Run({"driver", "IP"});
  EXPECT_EQ(console,
            "Quorvane Torvy Driver\r\nCopyright (c) 2026 the Torvy driver developers\r\nversion 1 (build 001)\r\n");
  EXPECT_THAT(clock.Runs(), ElementsAre("100 x 10 ms"));
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, {"driver"}, {"driver", "a", "b"}, {"driver", "a", "b", "c"}}) {
    Run(arguments);
    EXPECT_THAT(console, MatchesRegex("usage: torvy-driver PORT [^\n]*\n"));
    EXPECT_THAT(clock.Runs(), ElementsAre("100 x 10 ms"));
  }
}

TEST_F(AppTest, StartPauseIsRandomFrom100To3000Milliseconds) {
  struct Stop {};
  std::set<std::int64_t> pauses;
  clock.before_wait = [&](const VirtualClock::Wait& wait) -> int {
    pauses.insert(wait.limit.count());
    throw Stop();
  };
  for (int i = 0; i < 100'000; ++i) {
    EXPECT_THROW(app.Event_Run(Serial("none")), Stop);
    clock.waits.clear();
  }
  EXPECT_EQ(*pauses.begin(), 100'000'000);
  EXPECT_EQ(*pauses.rbegin(), 3'000'000'000);
  EXPECT_EQ(pauses.size(), 2901U);
}

TEST_F(AppTest, WaitsFifteenSecondsForHostThatRefuses) {
  std::vector<std::string> arguments = Serial(terminal.Path());
  arguments[3] = std::to_string(refusing);
  Run(arguments);
  const auto tick = [this](std::size_t sleep) { return clock.sleeps[sleep].start * 60 / std::chrono::seconds(1); };
  EXPECT_EQ(tick(clock.sleeps.size() - 100) - tick(1), 900);
  for (std::size_t i = 1; i < clock.sleeps.size(); ++i) EXPECT_LE(clock.sleeps[i].limit, std::chrono::milliseconds(10));
  EXPECT_EQ(console, "Quorvane Pipe Error\n\nTorvy: Timeout waiting for answer from Quorvane\r\n");
  EXPECT_EQ(State().DevicePort, nullptr);
}

TEST_F(AppTest, ServesSerialDeviceUntilHostAsksToQuit) {
  SendWhenReady(DeviceCommand("0102", "ON", "1"));
  int slices = 0;
  clock.before_wait = [&](const VirtualClock::Wait& wait) {
    if (wait.limit == std::chrono::milliseconds(200) && ++slices == 5) {
      const std::string quit = ControllerCommand("Q").GetRawCommand();
      EXPECT_EQ(send(host.Link()->Number(), quit.data(), quit.size(), 0), 16);
    }
    return 0;
  };
  EXPECT_THAT(Run(Serial(terminal.Path())), ElementsAre("10 ms", "1000 ms", "5 x 200 ms", "100 x 10 ms"));
  EXPECT_EQ(terminal.Line().Received, "0102U");
  EXPECT_TRUE(terminal.Line().Ended);  // the port was closed
  EXPECT_THAT(host.Lines(), ElementsAre(kReady, kQuit));
  EXPECT_EQ(host.ConnectionID(), "17");
  EXPECT_EQ(console, "");
  EXPECT_EQ(std::dynamic_pointer_cast<cSerialPortAbstractor>(State().DevicePort)->Parent, State().Driver);
}

TEST_F(AppTest, ServesNetworkDeviceNamedByLastTwoArguments) {
  SendWhenReady(ControllerCommand("P"));
  std::vector<std::string> arguments = Ip(network_device.Port());
  arguments.insert(arguments.begin() + 5, {"127.0.0.9", "1"});
  EXPECT_THAT(Run(arguments), ElementsAre("10 ms", "250 ms", "1000 ms", "100 x 10 ms"));
  EXPECT_TRUE(network_device.Peer()->Ended);
  EXPECT_THAT(host.Lines(), ElementsAre(kReady, "2 The torvy plx has been asked to quit. (2)"));
  EXPECT_EQ(std::dynamic_pointer_cast<cIPStreamAbstractor>(State().DevicePort)->Parent, State().Driver);
}

TEST_F(AppTest, LogsAndExitsIfPortCannotBeOpened) {
  EXPECT_THAT(Run(Serial("/dev/null")), ElementsAre("10 ms", "1000 ms", "100 x 10 ms"));
  EXPECT_THAT(host.Lines(), ElementsAre("4 torvy: unable to open the port named: /dev/null"));
  EXPECT_EQ(console, "");
}

TEST_F(AppTest, LogsStartInDebugMode) {
  host.OnHandshake = [this] { host.Send(ControllerCommand("D")); };
  clock.may_pass = [] { return State().HostSocket == nullptr || State().DebugMode; };
  EXPECT_THAT(Run(Serial("no-such-port")), Contains("100 x 10 ms"));
  EXPECT_THAT(host.Lines(), ElementsAre(MatchesRegex("4 Quorvane connection successful after: [01] ticks."),
                                        "4 torvy making local serial connection to port named (no-such-port)",
                                        "4 torvy: unable to find a serial port named: no-such-port"));
  host.ForgetLog();
  State().Release();
  State() = {};
  const std::string port = std::to_string(refusing);
  Run(Ip(refusing));
  EXPECT_THAT(host.Lines(), ElementsAre(MatchesRegex("4 Quorvane connection successful after: [01] ticks."),
                                        "4 torvy making IP connection to (127.0.0.1) port (" + port + ")",
                                        "4 torvy opening IP connection, polling and waiting...",
                                        "4 torvy Connection failed to open after 600 ticks.",
                                        "2 IP Open  to 127.0.0.1:" + port + " failed."));
}

TEST_F(AppTest, DropsCommandsUntilDeviceIsConnected) {
  host.OnHandshake = [this] {
    host.Send(DeviceCommand("0102", "ON", "1"));
    host.Send(RawDataCommand("0102U"));
    host.Send(ControllerCommand("Q"));
  };
  clock.may_pass = [this] { return State().HostSocket == nullptr || !host.Log().empty(); };
  EXPECT_THAT(Run(Ip(refusing)), Contains("40 x 250 ms"));
  EXPECT_THAT(host.Lines(), ElementsAre(kQuit, testing::StartsWith("2 IP Open  to ")));
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

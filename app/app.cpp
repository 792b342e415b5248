#include "app/app.h"

#include <chrono>
#include <memory>

#include "app/process_state.h"
#include "app/stack_trace.h"
#include "device/torvy.h"
#include "host/connection.h"
#include "host/log.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/event_pump.h"
#include "platform/random.h"
#include "platform/text.h"
#include "ports/ip_stream_abstractor.h"
#include "ports/serial_port_abstractor.h"

namespace {

constexpr std::size_t kBannerArguments = 1;  // not counting the program's own path, which is position 0
constexpr std::size_t kMinArguments = 4;
constexpr std::size_t kPortPosition = 1;
constexpr std::size_t kHostAddressPosition = 2;
constexpr std::size_t kHostPortPosition = 3;
constexpr std::size_t kConnectionIDPosition = 4;

using std::chrono::milliseconds;

constexpr std::int32_t kMinStartPause = 100;  // milliseconds
constexpr std::int32_t kMaxStartPause = 3000;
constexpr std::int32_t kHostConnectionSeconds = 15;
constexpr milliseconds kSettlePause{1000};
constexpr milliseconds kLoopSlice{200};
constexpr int kDrainRuns = 100;
constexpr milliseconds kDrainSlice{10};

void Pump(milliseconds time) {
  platform::EventPump::Instance().Run(time);
}

void PrintBanner() {
  platform::PrintLine("Quorvane Torvy Driver\r");
  platform::PrintLine("Copyright (c) 2026 the Torvy driver developers\r");
  platform::PrintLine(TORVY_VERSION "\r");
}

void PrintUsage() {
  platform::PrintLine(
      "usage: torvy-driver PORT HOST-ADDRESS HOST-PORT CONNECTION-ID, "
      "or torvy-driver IP HOST-ADDRESS HOST-PORT CONNECTION-ID DEVICE-ADDRESS DEVICE-PORT");
}

bool ConnectAndWaitForHost(const std::vector<std::string>& arguments) {
  Pump(milliseconds(platform::RandomInRange(kMinStartPause, kMaxStartPause)));
  const std::int64_t start = platform::Ticks();
  ConnectToHost(arguments[kHostAddressPosition], platform::ReadInt32(arguments[kHostPortPosition]),
                arguments[kConnectionIDPosition]);
  if (!WaitForHostConnection(kHostConnectionSeconds)) {
    platform::PrintLine("Torvy: Timeout waiting for answer from Quorvane\r");
    return false;
  }
  LogInDebugMode("Quorvane connection successful after: " + std::to_string(platform::Ticks() - start) + " ticks.");
  return true;
}

std::shared_ptr<iAbstractPort> OpenDevicePort(const std::vector<std::string>& arguments) {
  const std::string& name = arguments[kPortPosition];
  if (platform::EqualIgnoringCase(name, "IP")) {
    const std::string& address = arguments[arguments.size() - 2];
    const std::int32_t port = platform::ReadInt32(arguments.back());
    LogInDebugMode("torvy making IP connection to (" + address + ") port (" + std::to_string(port) + ")");
    return std::make_shared<cIPStreamAbstractor>(address, port);
  }
  LogInDebugMode("torvy making local serial connection to port named (" + name + ")");
  return std::make_shared<cSerialPortAbstractor>(name);
}

void Serve(const std::vector<std::string>& arguments) {
  const std::shared_ptr<iAbstractPort> port = OpenDevicePort(arguments);
  ProcessState& state = State();
  state.DevicePort = port;
  state.Driver = std::make_shared<cTorvy>();
  port->PortSetParent(state.Driver);
  if (!state.QuitRequested) QueueLogToHost(App::kReadyLine, kLogLevelOperational);
  Pump(kSettlePause);
  while (!state.QuitRequested) {
    Pump(kLoopSlice);
    port->PortPoll();
  }
  port->PortClose();
}

}  // namespace

std::int32_t App::Event_Run(const std::vector<std::string>& arguments) {
  const std::size_t count = arguments.empty() ? 0 : arguments.size() - 1;
  if (count == kBannerArguments) {
    PrintBanner();
  } else if (count < kMinArguments) {
    PrintUsage();
  } else if (ConnectAndWaitForHost(arguments)) {
    Serve(arguments);
  }
  // Sends queued log entries. The host's other drivers make the same number of runs.
  for (int run = 0; run < kDrainRuns; ++run) Pump(kDrainSlice);
  return 0;
}

bool App::Event_UnhandledException(const platform::Failure& failure) {
  LogStackTrace(failure);
  return false;
}

App::~App() {
  State().Release();
}

#include "simulator/session.h"

#include <unistd.h>

#include <algorithm>

#include "app/app.h"
#include "platform/event_pump.h"

#include "simulator/interruption.h"
#include "simulator/wording.h"

namespace {

using Kind = Transcript::Kind;

constexpr const char* kConnectionID = "17";
// The driver pauses by itself when it starts and when it ends.
constexpr std::chrono::seconds kPatienceAtStartAndEnd{30};

}  // namespace

Session::Session(const Setup& setup, Transcript& transcript, Recorder& recorder)
    : transcript_(transcript),
      recorder_(recorder),
      place_(setup.place),
      patience_(setup.patience),
      device_(setup.place),
      // In a process group of its own, so that Ctrl-C reaches the simulator alone.
      driver_(setup.driver, DriverArguments(), [] { setpgid(0, 0); }) {
  ShowEvents();
  std::string command_line = "starting torvy-driver";
  for (const std::string& argument : DriverArguments()) command_line += " " + argument;
  transcript_.Note(command_line);
}

std::vector<std::string> Session::DriverArguments() const {
  const std::vector<std::string>& names = device_.Names();
  std::vector<std::string> arguments{"IP", "127.0.0.1", std::to_string(host_.Port()), kConnectionID};
  if (names.size() == 1) {
    arguments.front() = names.front();
  } else {
    arguments.insert(arguments.end(), names.begin(), names.end());
  }
  return arguments;
}

void Session::ShowEvents() {
  host_.OnHandshake = [this] {
    transcript_.Event(Kind::kDriverToHost, "handshake, connection " + Printable(*host_.ConnectionID()));
  };
  host_.OnLog = [this](const SimulatedHost::LogLine& line) {
    device_.ShowRest();
    transcript_.Event(Kind::kDriverToHost, "log, level " + std::to_string(line.level) + ": " + Printable(line.text));
    recorder_.Logged(line.text);
  };
  device_.OnBytes = [this](const std::string& bytes) {
    device_bytes_ += bytes;
    recorder_.DeviceGot(bytes);
  };
  device_.OnShow = [this](const std::string& bytes) {
    transcript_.Event(Kind::kDriverToDevice, DeviceBytesInWords(bytes));
  };
}

bool Session::WaitUntilReady() {
  const auto decided = [this] { return host_.HasLogged(App::kReadyLine) || driver_.Status(); };
  if (!Await(decided, "the driver to get ready", std::max(patience_, kPatienceAtStartAndEnd))) return false;
  logs_seen_ = host_.Log().size();
  if (driver_.Status()) return Fail("the driver ended before it was ready");
  memory_when_ready_ = driver_.PeakMemoryKiB();
  recorder_.Begin(place_.over_ip);
  return true;
}

bool Session::Perform(const Step& step, const std::string& place) {
  if (step.row == nullptr) return true;
  where_ = place.empty() ? "" : place + ": ";
  platform::EventPump::Instance().Run(0);
  if (step.row->perform == nullptr) return Fail(step.line + " can only be a script's first step");
  if (step.row->needs_sight && !IsLookedInto()) return false;
  recorder_.Performed(step);
  const bool as_it_should = step.row->perform(*this, step);
  if (as_it_should && step.row->IsExpectation()) {
    constexpr std::string_view kWord = "expect ";
    transcript_.Event(Kind::kAsExpected, std::string_view(step.line).substr(kWord.size()));
  }
  return as_it_should;
}

bool Session::Finish() {
  where_.clear();
  if (!quit_sent_ && !driver_.Status() && CanSend()) Perform(ReadStep("quit"));
  where_.clear();
  const auto ended = [this] { return driver_.Status() && driver_.Output().Ended; };
  if (!Await(ended, "the driver to end", std::max(patience_, kPatienceAtStartAndEnd))) return false;
  constexpr std::int32_t kPauseMilliseconds = 20;
  for (std::size_t before = Progress() + 1; before != Progress();) {
    before = Progress();
    platform::EventPump::Instance().Run(kPauseMilliseconds);
  }
  recorder_.Ended(driver_.Output().Received, driver_.Status().value_or(-1));
  if (const std::string& console = driver_.Output().Received; !console.empty()) {
    transcript_.Note("the driver's console: " + Printable(console));
  }
  transcript_.Note("the driver ended with " + StateOfTheEnd());
  bool in_order = driver_.Status() == 0;
  if (!host_.Unexpected().empty()) {
    in_order = Fail("the host got bytes that are no log packet: " + Printable(host_.Unexpected()));
  }
  if (device_expected_ && !device_bytes_.empty()) {
    in_order = Fail("the device got more than was expected: " + DeviceBytesInWords(device_bytes_));
  }
  return in_order;
}

std::string Session::StateOfTheEnd() {
  constexpr int kSignalBase = 128;
  const int status = driver_.Status().value_or(0);
  return status > kSignalBase ? "signal " + std::to_string(status - kSignalBase) : "status " + std::to_string(status);
}

bool Session::SendCommand(const std::string& address, const std::string& command) {
  const std::string id = std::to_string(++packets_sent_);
  return Send(DeviceCommand(address, command, id),
              "command " + command + " for the unit at " + address + ", packet " + id);
}

bool Session::ToggleDebugMode() {
  return Send(ControllerCommand("D"), "toggle debug mode");
}

bool Session::SendRaw(const std::string& bytes) {
  return Send(RawDataCommand(bytes), "pass " + std::to_string(bytes.size()) + " bytes to the device");
}

bool Session::Quit() {
  quit_sent_ = true;
  return Send(ControllerCommand("Q"), "quit");
}

bool Session::SendStream(std::int32_t count) {
  constexpr std::int32_t kUnits = 10'000;
  std::string packets;
  stream_bytes_.clear();
  for (std::int32_t i = 0; i < count; ++i) {
    const std::string address = std::to_string(kUnits + i % kUnits).substr(1);
    packets += DeviceCommand(address, "ON", std::to_string(i)).GetRawCommand();
    stream_bytes_ += address + "U";
  }
  return SendUntilTaken(packets, "a stream of " + std::to_string(count) + " commands");
}

bool Session::SendRawPackets(std::int32_t count) {
  const std::string packet = RawDataCommand(std::string(cQuorvaneCommand::kMostRawData, '-')).GetRawCommand();
  std::string packets;
  for (std::int32_t i = 0; i < count; ++i) packets += packet;
  return SendUntilTaken(packets, "raw data in " + std::to_string(count) + " packets");
}

bool Session::Flood() {
  constexpr std::size_t kQueued = 100'000;
  if (!CanSend()) return false;
  const std::string packet = DeviceCommand("0102", "ON", "1").GetRawCommand();
  std::string packets;
  while (packets.size() < kQueued) packets += packet;
  transcript_.Event(Kind::kHostToDriver, "commands without end");
  const bool ended = Await(
      [this, &packets] {
        if (HostLink().CanSend() && HostLink().Unsent() < kQueued) {
          HostLink().Send(packets);
          bytes_sent_ += packets.size();
        }
        device_bytes_.clear();
        return driver_.Status().has_value();
      },
      "the driver to end");
  recorder_.ForgetDeviceBytes();
  return ended;
}

bool Session::CanSend() {
  return (host_.Link() != nullptr && HostLink().CanSend()) ||
         Fail("the link to the driver is closed; nothing can be sent");
}

bool Session::Send(cQuorvaneCommand message, const std::string& in_words) {
  if (!CanSend()) return false;
  const std::string packet = message.GetRawCommand();
  transcript_.Event(Kind::kHostToDriver, in_words);
  transcript_.Packet(packet);
  HostLink().Send(packet);
  bytes_sent_ += packet.size();
  return true;
}

bool Session::SendUntilTaken(const std::string& packets, const std::string& in_words) {
  if (!CanSend()) return false;
  transcript_.Event(Kind::kHostToDriver, in_words);
  HostLink().Send(packets);
  bytes_sent_ += packets.size();
  return Await([this] { return HostLink().Unsent() == 0 || driver_.Status(); }, "the driver to take it");
}

#include "simulator/session.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "app/app.h"
#include "platform/event_pump.h"

#include "simulator/interruption.h"
#include "simulator/wording.h"

namespace {

using Kind = Transcript::Kind;

constexpr const char* kConnectionID = "17";

}  // namespace

Session::Session(const Setup& setup, Transcript& transcript, Recorder& recorder)
    : transcript_(transcript),
      recorder_(recorder),
      endpoint_(setup.device),
      patience_(setup.patience),
      device_(setup.device),
      // In its own process group, so that Ctrl-C reaches only the simulator.
      driver_(setup.driver, DriverArguments(), [] { setpgid(0, 0); }) {
  ShowEvents();
  std::string command_line = "starting " + setup.driver;
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
    device_.ShowOverdue();
    transcript_.Event(Kind::kDriverToHost, "log, level " + std::to_string(line.level) + ": " + Printable(line.text));
    recorder_.Logged(line.text);
  };
  device_.OnBytes = [this](const std::string& bytes) {
    device_bytes_ += bytes;
    recorder_.DeviceGot(bytes);
  };
  device_.OnShow = [this](int /*driver*/, const std::string& bytes) {
    transcript_.Event(Kind::kDriverToDevice, DeviceBytesInWords(bytes));
  };
  driver_.Output().OnChange = [this] { ShowConsole(); };
}

// Shows one event per line; the last line may lack a line end.
void Session::ShowConsole() {
  const std::string_view all = driver_.Output().Received;
  while (console_shown_ < all.size()) {
    const std::size_t end = std::min(all.find('\n', console_shown_), all.size());
    if (end == all.size() && !driver_.Output().Ended) return;
    std::string_view line = all.substr(console_shown_, end - console_shown_);
    console_shown_ = std::min(end + 1, all.size());
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty()) transcript_.Event(Kind::kConsole, Printable(line));
  }
}

bool Session::WaitUntilReady() {
  constexpr std::chrono::seconds kPauseBeforeConnecting{3};
  constexpr std::chrono::seconds kDeviceConnectLimit{10};
  const auto connected = [this] { return host_.Link() != nullptr || driver_.Status(); };
  if (!Await(connected, "the driver to connect", kPauseBeforeConnecting)) return false;
  const auto ready = [this] { return host_.HasLogged(App::kReadyLine) || driver_.Status(); };
  if (!Await(ready, "the driver to become ready", kDeviceConnectLimit)) return false;
  logs_seen_ = host_.Log().size();
  if (driver_.Status()) return Fail("the driver ended before it was ready");
  memory_when_ready_ = driver_.PeakMemoryKiB();
  recorder_.Begin(endpoint_.over_ip);
  return true;
}

bool Session::Perform(const Step& step, const std::string& position) {
  if (step.row == nullptr) return true;
  position_ = position.empty() ? "" : position + ": ";
  platform::EventPump::Instance().Run(std::chrono::milliseconds(0));
  if (step.row->needs_visible_device && !RequireDeviceLink()) return false;
  recorder_.Performed(step);
  const bool passed = step.row->perform(*this, step);
  if (passed && step.row->IsExpectation()) {
    constexpr std::string_view kWord = "expect ";
    device_.Show();
    transcript_.Event(Kind::kAsExpected, Shortened(std::string_view(step.line).substr(kWord.size())));
  }
  return passed;
}

bool Session::Finish() {
  interruption::Clear();  // an interrupted session still ends in order
  if (!quit_sent_ && !driver_.Status() && HostCanSend()) Perform(ReadStep("quit"));
  position_.clear();
  if (host_.Link() == nullptr) driver_.Signal(SIGKILL);
  if (!AwaitEnd([this] { return driver_.Status() && driver_.Output().Ended; })) return false;
  constexpr std::chrono::milliseconds kPause{20};
  for (std::size_t before = Progress() + 1; before != Progress();) {
    before = Progress();
    platform::EventPump::Instance().Run(kPause);
  }
  device_.Show();
  recorder_.Ended(driver_.Output().Received, driver_.Status().value_or(-1));
  transcript_.Note("the driver ended with " + ExitState());
  bool in_order = driver_.Status() == 0;
  if (!host_.Unexpected().empty()) {
    in_order = Fail("the host received unexpected bytes: " + Printable(host_.Unexpected()));
  }
  if (device_expected_ && !device_bytes_.empty()) {
    in_order = Fail("the device received unexpected bytes: " + DeviceBytesInWords(device_bytes_));
  }
  if (commands_lost_ && (device_expected_ || !device_link_closed_by_step_)) {
    in_order = Fail("commands were lost because the device link was closed");
  }
  return in_order;
}

std::string Session::ExitState() {
  constexpr int kSignalBase = 128;
  const int status = driver_.Status().value_or(0);
  return status > kSignalBase ? "signal " + std::to_string(status - kSignalBase) : "status " + std::to_string(status);
}

bool Session::SendCommand(const std::string& address, const std::string& command) {
  const std::string id = std::to_string(++packets_sent_);
  NoteLostCommands();
  return Send(DeviceCommand(address, command, id),
              "command " + Shortened(command) + " for unit " + Shortened(address) + ", packet " + id);
}

bool Session::ToggleDebugMode() {
  return Send(ControllerCommand("D"), "toggle debug mode");
}

bool Session::SendRaw(const std::string& bytes) {
  NoteLostCommands();
  return Send(RawDataCommand(bytes), "pass " + std::to_string(bytes.size()) + " bytes to the device");
}

bool Session::Quit() {
  quit_sent_ = true;
  return Send(ControllerCommand("Q"), "quit");
}

void Session::CloseDeviceLink() {
  device_link_closed_by_step_ = true;
  DeviceLink().Close();
}

bool Session::SendStream(std::int32_t count) {
  constexpr std::int32_t kUnits = 10'000;
  std::string packets;
  NoteLostCommands();
  stream_bytes_.clear();
  for (std::int32_t i = 0; i < count; ++i) {
    const std::string address = std::to_string(kUnits + i % kUnits).substr(1);
    packets += DeviceCommand(address, "ON", std::to_string(i)).GetRawCommand();
    stream_bytes_ += address + "U";
  }
  return SendUntilTaken(packets, "a stream of " + std::to_string(count) + " commands");
}

bool Session::SendRawPackets(std::int32_t count) {
  NoteLostCommands();
  const std::string packet = RawDataCommand(std::string(cQuorvaneCommand::kMaxRawData, '-')).GetRawCommand();
  std::string packets;
  for (std::int32_t i = 0; i < count; ++i) packets += packet;
  return SendUntilTaken(packets, "raw data in " + std::to_string(count) + " packets");
}

bool Session::Flood() {
  constexpr std::size_t kQueued = 100'000;
  if (!RequireHostLink()) return false;
  const std::string packet = DeviceCommand("0102", "ON", "1").GetRawCommand();
  std::string packets;
  while (packets.size() < kQueued) packets += packet;
  transcript_.Event(Kind::kHostToDriver, "continuous commands");
  const bool ended = AwaitEnd([this, &packets] {
    if (HostLink().CanSend() && HostLink().Unsent() < kQueued) {
      HostLink().Send(packets);
      bytes_sent_ += packets.size();
    }
    device_bytes_.clear();
    return driver_.Status().has_value();
  });
  recorder_.ForgetDeviceBytes();
  return ended;
}

bool Session::RequireHostLink() {
  return HostCanSend() || Fail("the link to the driver is closed; nothing can be sent");
}

bool Session::RequireDeviceLink() {
  if (!endpoint_.IsVisible()) return Fail(Device::kNotVisible);
  return device_.Link() != nullptr || Fail("the driver has not connected to the device");
}

// Notes that commands are lost if the device link is closed, because the driver does not reopen it. After a quit, the
// driver may have closed the link itself.
void Session::NoteLostCommands() {
  if (commands_lost_ || quit_sent_ || !device_.LinkIsClosed()) return;
  commands_lost_ = true;
  transcript_.Problem("the device link is closed; commands sent from now on are lost");
}

bool Session::Send(cQuorvaneCommand message, const std::string& in_words) {
  if (!RequireHostLink()) return false;
  const std::string packet = message.GetRawCommand();
  transcript_.Event(Kind::kHostToDriver, in_words);
  transcript_.Packet(packet);
  HostLink().Send(packet);
  bytes_sent_ += packet.size();
  return true;
}

bool Session::SendUntilTaken(const std::string& packets, const std::string& in_words) {
  if (!RequireHostLink()) return false;
  transcript_.Event(Kind::kHostToDriver, in_words);
  HostLink().Send(packets);
  bytes_sent_ += packets.size();
  return Await([this] { return HostLink().Unsent() == 0 || driver_.Status(); }, "the driver to accept the data");
}

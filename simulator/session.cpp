#include "simulator/session.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "app/app.h"
#include "peers/wait_for.h"
#include "platform/clock.h"
#include "platform/event_pump.h"
#include "simulator/format.h"
#include "simulator/signals.h"

namespace {

using Kind = Transcript::Kind;

constexpr const char* kConnectionID = "17";

}  // namespace

Session::Session(const Setup& setup, Transcript& transcript)
    : transcript_(transcript),
      recorder_(setup.record),
      endpoint_(setup.device),
      timeout_(setup.timeout),
      device_(setup.device),
      // In a separate process group, so that Ctrl-C reaches only the simulator.
      driver_(setup.driver, DriverArguments(), [] { setpgid(0, 0); }) {
  ShowEvents();
  std::string command_line = "starting " + setup.driver;
  for (const std::string& argument : DriverArguments()) command_line += " " + argument;
  transcript_.Note(command_line);
}

std::vector<std::string> Session::DriverArguments() const {
  const std::vector<std::string>& names = device_.Names();
  const bool over_ip = Device::IsOverIp(endpoint_);
  std::vector<std::string> arguments{over_ip ? "IP" : names.front(), "127.0.0.1", std::to_string(host_.Port()),
                                     kConnectionID};
  if (over_ip) arguments.insert(arguments.end(), names.begin(), names.end());
  return arguments;
}

void Session::ShowEvents() {
  host_.OnHandshake = [this] {
    transcript_.Event(Kind::kDriverToHost, "handshake, connection " + Printable(*host_.ConnectionID()));
  };
  host_.OnLog = [this](const SimulatedHost::LogEntry& entry) {
    transcript_.Event(Kind::kDriverToHost, "log, level " + std::to_string(entry.level) + ": " + Printable(entry.text));
    recorder_.Logged(entry.text);
  };
  device_.OnBytes = [this](const std::string& bytes) {
    device_bytes_ += bytes;
    recorder_.DeviceGot(bytes);
  };
  device_.OnShow = [this](std::optional<int> /*driver*/, std::string_view line) {
    transcript_.Event(Kind::kDriverToDevice, DeviceBytesInWords(line));
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

void Session::WaitUntilReady() {
  constexpr std::chrono::seconds kPauseBeforeConnecting{3};
  constexpr std::chrono::seconds kDeviceConnectLimit{10};
  const auto connected = [this] { return host_.Link() != nullptr || driver_.Status(); };
  Await(connected, "the driver to connect", kPauseBeforeConnecting);
  const auto ready = [this] { return host_.HasLogged(App::kReadyLine) || driver_.Status(); };
  Await(ready, "the driver to become ready", kDeviceConnectLimit);
  if (driver_.Status()) throw StepFailed("the driver ended before it was ready");
  memory_when_ready_ = driver_.PeakMemoryKiB();
  recorder_.Begin(Device::IsOverIp(endpoint_));
}

Channel& Session::HostLink() {
  if (host_.Link() != nullptr && host_.Link()->CanSend()) return *host_.Link();
  throw StepFailed("the link to the driver is closed; nothing can be sent");
}

Channel& Session::DeviceLink() {
  if (!Device::IsObservable(endpoint_)) throw StepFailed(Device::kNotObservable);
  if (device_.Link() == nullptr) throw StepFailed("the driver has not connected to the device");
  return *device_.Link();
}

void Session::SendCommand(const std::string& address, const std::string& command) {
  const std::string id = std::to_string(++packets_sent_);
  Send(DeviceCommand(address, command, id),
       "command " + Shortened(command) + " for unit " + Shortened(address) + ", packet " + id);
  ReportLostCommands();
}

void Session::SendRaw(const std::string& bytes) {
  Send(RawDataCommand(bytes), "pass " + std::to_string(bytes.size()) + " bytes to the device");
  ReportLostCommands();
}

void Session::SendStream(std::int32_t count) {
  constexpr std::int32_t kUnits = 10'000;
  std::string packets;
  stream_bytes_.clear();
  for (std::int32_t i = 0; i < count; ++i) {
    const std::string address = std::to_string(kUnits + i % kUnits).substr(1);
    packets += DeviceCommand(address, "ON", std::to_string(i)).GetRawCommand();
    stream_bytes_ += address + "U";
  }
  SendUntilAccepted(packets, "a stream of " + std::to_string(count) + " commands");
}

void Session::SendRawPackets(std::int32_t count) {
  const std::string packet = RawDataCommand(std::string(cQuorvaneCommand::kMaxRawData, '-')).GetRawCommand();
  std::string packets;
  for (std::int32_t i = 0; i < count; ++i) packets += packet;
  SendUntilAccepted(packets, "raw data in " + std::to_string(count) + " packets");
}

void Session::Flood() {
  constexpr std::size_t kQueued = 100'000;
  const std::string packet = DeviceCommand("0102", "ON", "1").GetRawCommand();
  std::string packets;
  while (packets.size() < kQueued) packets += packet;
  Channel& link = HostLink();
  transcript_.Event(Kind::kHostToDriver, "continuous commands");
  const auto ended = [&] {
    if (link.OutputQueued() < kQueued) link.Send(packets);
    device_bytes_.clear();
    return DriverHasEnded();
  };
  recorder_.Flooded();
  Await(ended, "the driver to end", kPauseAtEnd, 1);
}

void Session::SignalDriver(int signal) {
  driver_.Signal(signal);
  recorder_.DriverStopped(signal == SIGSTOP);
}

void Session::Quit() {
  quit_sent_ = true;
  Send(ControllerCommand("Q"), "quit");
}

void Session::Send(cQuorvaneCommand message, const std::string& in_words) {
  Channel& link = HostLink();
  const std::string packet = message.GetRawCommand();
  transcript_.Event(Kind::kHostToDriver, in_words);
  transcript_.Packet(packet);
  link.Send(packet);
}

void Session::SendUntilAccepted(const std::string& packets, const std::string& in_words) {
  Channel& link = HostLink();
  transcript_.Event(Kind::kHostToDriver, in_words);
  link.Send(packets);
  Await([&] { return link.OutputQueued() == 0 || driver_.Status(); }, "the driver to accept the data");
  ReportLostCommands();
}

// Reports lost commands if the device link is closed, because the driver does not reopen it. After a quit or the
// driver's end, reports nothing: the driver itself closes the link then.
void Session::ReportLostCommands() {
  const Channel* const link = device_.Link();
  if (quit_sent_ || driver_.Status() || link == nullptr) return;
  if (link->Ended) throw StepFailed("the device link is closed; the data sent is lost");
  if (!link->IsOpen()) transcript_.Note("a step closed the device link; the data sent is lost");
}

void Session::Wait(std::chrono::milliseconds time) {
  const auto start = platform::MonotonicNow();
  std::chrono::milliseconds elapsed{};
  while (elapsed < time && !signals::IsPending()) {
    constexpr std::chrono::milliseconds kSlice{50};
    platform::EventPump::Instance().Run(std::min(time - elapsed, kSlice));
    elapsed = std::chrono::floor<std::chrono::milliseconds>(platform::MonotonicNow() - start);
  }
  recorder_.Waited(std::min(elapsed, time));
  if (signals::IsPending()) throw StepFailed("interrupted");
}

std::size_t Session::Progress() {
  const std::size_t unsent = host_.Link() == nullptr ? 0 : host_.Link()->OutputQueued();
  return device_.BytesSeen() + host_.Log().size() + driver_.Output().Received.size() - unsent;
}

void Session::Await(const std::function<bool()>& condition, const std::string& what, std::chrono::seconds driver_pause,
                    int max_timeouts) {
  // Once the driver has ended, only its remaining output can still arrive.
  constexpr int kMaxPassesAfterEnd = 20;
  WaitBudget budget(timeout_ + driver_pause, max_timeouts);
  int passes_after_end = 0;
  std::size_t before = Progress();
  while (!condition()) {
    if (signals::IsPending()) throw StepFailed("interrupted while waiting for " + what);
    if (transcript_.WriteError() != 0) throw StepFailed("cannot write to standard output");
    passes_after_end = driver_.Status() ? passes_after_end + 1 : 0;
    if (passes_after_end > kMaxPassesAfterEnd) throw StepFailed("the driver has ended; gave up waiting for " + what);
    if (!budget.Wait()) throw StepFailed("timed out waiting for " + what);
    if (const std::size_t now = Progress(); now != before) {
      before = now;
      budget.Renew();
      passes_after_end = 0;
    }
  }
}

void Session::AwaitEnd() {
  Await([this] { return DriverHasEnded(); }, "the driver to end", kPauseAtEnd);
}

void Session::End() {
  const bool killed = !DriverHasEnded();
  if (killed) driver_.Signal(SIGKILL);
  constexpr std::chrono::seconds kOutputTimeout{1};
  const auto over = [this] { return DriverHasEnded() && driver_.Output().Ended; };
  const bool output_ended = WaitFor(over, kOutputTimeout);
  constexpr std::chrono::milliseconds kPause{20};
  for (std::size_t before = Progress() + 1; before != Progress();) {
    before = Progress();
    platform::EventPump::Instance().Run(kPause);
  }
  device_.ShowPending();
  recorder_.Ended(driver_.Output().Received, ExitState());
  if (killed) {
    transcript_.Note(std::string("the driver ") + (host_.Link() == nullptr ? "had not connected" : "did not end") +
                     "; the simulator killed it");
  } else {
    transcript_.Note("the driver ended with " + ExitState());
  }
  if (!output_ended) transcript_.Note("a process that the driver started still has the driver's standard output open");
}

std::string Session::ExitState() {
  const int status = driver_.Status().value_or(0);
  return status < 0 ? "signal " + std::to_string(-status) : "status " + std::to_string(status);
}

#include "simulator/session.h"

#include <utility>

#include "app/app.h"
#include "peers/serial_line.h"
#include "peers/waiting.h"
#include "platform/event_pump.h"
#include "simulator/fault.h"

namespace {

using Way = Transcript::Way;

constexpr const char* kConnectionID = "17";
constexpr std::chrono::seconds kReadyLimit{30};
constexpr std::chrono::seconds kStepLimit{30};

}  // namespace

Session::Session(const Setup& setup, Transcript& transcript) : transcript_(transcript) {
  host_.OnHandshake = [this] {
    transcript_.Event(Way::kDriverToHost, "handshake, connection " + Printable(*host_.ConnectionID()));
  };
  host_.OnLog = [this](const SimulatedHost::LogLine& line) {
    transcript_.Event(Way::kDriverToHost, "log, level " + std::to_string(line.level) + ": " + Printable(line.text));
  };
  const std::vector<std::string> arguments = DriverArguments(setup);
  std::string command_line = "torvy-driver";
  for (const std::string& argument : arguments) command_line += " " + argument;
  transcript_.Note("starting " + command_line);
  driver_ = std::make_unique<ChildProcess>(setup.driver, arguments);
}

std::vector<std::string> Session::DriverArguments(const Setup& setup) {
  std::vector<std::string> arguments{"IP", "127.0.0.1", std::to_string(host_.Port()), kConnectionID};
  if (!setup.over_ip) {
    arguments[0] = setup.port;
    if (setup.port.empty()) {
      terminal_ = std::make_unique<PseudoTerminal>();
      ListenToDevice(terminal_->Line());
      arguments[0] = terminal_->Path();
    } else if (!setup.other_end.empty()) {
      other_end_ = std::make_unique<Channel>(OpenSerialLine(setup.other_end));
      ListenToDevice(*other_end_);
    }
    return arguments;
  }
  if (!setup.device_address.empty()) {
    arguments.insert(arguments.end(), {setup.device_address, std::to_string(setup.device_port)});
    return arguments;
  }
  network_device_ = std::make_unique<Listener>();
  network_device_->OnAccept = [this] { ListenToDevice(*network_device_->Peer()); };
  arguments.insert(arguments.end(), {"127.0.0.1", std::to_string(network_device_->Port())});
  return arguments;
}

void Session::ListenToDevice(Channel& line) {
  line.OnChange = [this, &line] {
    const std::string bytes = std::exchange(line.Received, {});
    if (bytes.empty()) return;
    device_bytes_ += bytes;
    transcript_.Event(Way::kDriverToDevice, DeviceBytesInWords(bytes));
  };
}

bool Session::WaitUntilReady() {
  const bool decided = WaitFor([this] { return host_.HasLogged(App::kReadyLine) || driver_->Status(); }, kReadyLimit);
  logs_seen_ = host_.Log().size();
  if (decided && !driver_->Status()) return true;
  transcript_.Problem(decided ? "the driver ended before it was ready" : "the driver did not get ready");
  return false;
}

bool Session::Perform(const Step& step) {
  switch (step.kind) {
    case Step::Kind::kNothing:
      return true;
    case Step::Kind::kCommand: {
      const std::string id = std::to_string(++packets_sent_);
      Send(DeviceCommand(step.address, step.text, id),
           "command " + step.text + " for the unit at " + step.address + ", packet " + id);
      return true;
    }
    case Step::Kind::kDebug:
      Send(ControllerCommand("D"), "toggle debug mode");
      return true;
    case Step::Kind::kRaw:
      Send(RawDataCommand(step.text), "pass " + std::to_string(step.text.size()) + " bytes to the device");
      return true;
    case Step::Kind::kQuit:
      Send(ControllerCommand("Q"), "quit");
      quit_sent_ = true;
      return true;
    case Step::Kind::kHelp:
      transcript_.Note(std::string(kScriptHelp) + kFaultHelp);
      return true;
    case Step::Kind::kWait:
      platform::EventPump::Instance().Run(step.count);
      return true;
    case Step::Kind::kStream:
      SendStream(step.count);
      return true;
    case Step::Kind::kFill:
      SendRawData(step.count);
      return true;
    case Step::Kind::kFlood:
      return Flood();
    case Step::Kind::kFault:
      return BringAbout(step.text);
    case Step::Kind::kNotUnderstood:
      transcript_.Problem(step.text);
      return false;
    default:
      return Check(step);
  }
}

bool Session::Check(const Step& step) {
  switch (step.kind) {
    case Step::Kind::kExpectDevice:
      return ExpectDevice(step.text);
    case Step::Kind::kExpectStream:
      return ExpectDevice(stream_bytes_);
    case Step::Kind::kExpectLog:
      return ExpectLog(step.text);
    case Step::Kind::kExpectConsole:
      return Await([&] { return driver_->Output().Received.find(step.text) != std::string::npos; },
                   "the console line " + Quoted(step.text));
    case Step::Kind::kExpectIdle:
      return ExpectIdle();
    case Step::Kind::kExpectEnd:
      return Await([this] { return driver_->Status() == 0; }, "the driver to end");
    case Step::Kind::kExpectMemory:
      return ExpectMemory(step.count);
    default:
      return false;
  }
}

bool Session::Finish() {
  if (!IsOver() && host_.Link() != nullptr) Perform({.kind = Step::Kind::kQuit});
  if (!Await([this] { return driver_->Status().has_value(); }, "the driver to end")) return false;
  platform::EventPump::Instance().Run(0);
  const std::string& console = driver_->Output().Received;
  if (!console.empty()) transcript_.Note("the driver's console: " + Printable(console));
  const int status = driver_->Status().value_or(-1);
  transcript_.Note("the driver ended with status " + std::to_string(status));
  if (!host_.Unexpected().empty()) {
    transcript_.Problem("the host got bytes that are no log packet: " + Printable(host_.Unexpected()));
  }
  const bool device_in_order = !device_expected_ || device_bytes_.empty();
  if (!device_in_order) {
    transcript_.Problem("the device got more than was expected: " + Printable(device_bytes_));
  }
  return status == 0 && device_in_order && host_.Unexpected().empty();
}

void Session::Send(cQuorvaneCommand message, const std::string& in_words) {
  const std::string packet = message.GetRawCommand();
  transcript_.Event(Way::kHostToDriver, in_words);
  transcript_.Packet(packet);
  host_.Link()->Send(packet);
}

void Session::SendUntilTaken(const std::string& packets, const std::string& in_words) {
  transcript_.Event(Way::kHostToDriver, in_words);
  host_.Link()->Send(packets);
  Await([this] { return host_.Link()->Unsent() == 0 || driver_->Status(); }, "the driver to take it");
}

void Session::SendStream(int count) {
  constexpr int kUnits = 10'000;
  std::string packets;
  stream_bytes_.clear();
  for (int i = 0; i < count; ++i) {
    const std::string address = std::to_string(kUnits + i % kUnits).substr(1);
    packets += DeviceCommand(address, "ON", std::to_string(i)).GetRawCommand();
    stream_bytes_ += address + "U";
  }
  SendUntilTaken(packets, "a stream of " + std::to_string(count) + " commands");
}

void Session::SendRawData(int count) {
  const std::string packet = RawDataCommand(std::string(cQuorvaneCommand::kMostRawData, '-')).GetRawCommand();
  std::string packets;
  for (int i = 0; i < count; ++i) packets += packet;
  SendUntilTaken(packets, "raw data in " + std::to_string(count) + " packets");
}

bool Session::Flood() {
  constexpr std::size_t kQueued = 100'000;
  const std::string packet = DeviceCommand("0102", "ON", "1").GetRawCommand();
  std::string packets;
  while (packets.size() < kQueued) packets += packet;
  transcript_.Event(Way::kHostToDriver, "commands without end");
  return Await(
      [this, &packets] {
        if (host_.Link()->Unsent() < kQueued) host_.Link()->Send(packets);
        device_bytes_.clear();
        return driver_->Status().has_value();
      },
      "the driver to end");
}

bool Session::BringAbout(const std::string& fault) {
  Channel* device = other_end_.get();
  if (network_device_) device = network_device_->Peer();
  if (terminal_) device = &terminal_->Line();
  if (device == nullptr) {
    transcript_.Problem("a fault needs a simulated device");
    return false;
  }
  transcript_.Note("fault: " + fault);
  Inject(fault, {*host_.Link(), *device, *driver_});
  return true;
}

bool Session::ExpectDevice(const std::string& bytes) {
  device_expected_ = true;
  const auto enough = [this, &bytes] { return device_bytes_.size() >= bytes.size(); };
  if (!Await(enough, "the device to get " + Printable(bytes))) return false;
  const std::string got = device_bytes_.substr(0, bytes.size());
  device_bytes_.erase(0, bytes.size());
  if (got == bytes) return true;
  transcript_.Problem("expected the device to get " + Printable(bytes) + ", it got " + Printable(got));
  return false;
}

bool Session::ExpectLog(const std::string& text) {
  const auto logged = [this, &text] {
    while (logs_seen_ < host_.Log().size()) {
      if (host_.Log()[logs_seen_++].text == text) return true;
    }
    return false;
  };
  return Await(logged, "the log line \"" + Printable(text) + "\"");
}

bool Session::ExpectIdle() {
  constexpr std::int32_t kMilliseconds = 1000;
  constexpr double kMostSeconds = 0.25;
  const double before = driver_->ProcessorSeconds();
  platform::EventPump::Instance().Run(kMilliseconds);
  if (driver_->ProcessorSeconds() - before < kMostSeconds) return true;
  transcript_.Problem("the driver does not rest");
  return false;
}

bool Session::ExpectMemory(std::int32_t mebibytes) {
  constexpr long kKibibytes = 1024;
  const long peak = driver_->PeakMemoryKiB();
  if (driver_->Status() && peak <= mebibytes * kKibibytes) return true;
  transcript_.Problem("the driver had " + std::to_string(peak) + " KiB");
  return false;
}

bool Session::Await(const std::function<bool()>& condition, const std::string& what) {
  if (WaitFor(condition, kStepLimit)) return true;
  transcript_.Problem("waited in vain for " + what);
  return false;
}

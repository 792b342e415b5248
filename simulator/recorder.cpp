#include "simulator/recorder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "platform/clock.h"
#include "simulator/format.h"

Recorder::Recorder(std::string path) : path_(std::move(path)) {
  if (path_.empty()) return;
  // Opened to append, so that the file keeps its contents until the end of the session.
  const bool is_new = !std::filesystem::exists(path_);
  if (!std::ofstream(path_, std::ios::app)) throw std::system_error(errno, std::generic_category(), path_);
  if (is_new) std::filesystem::remove(std::filesystem::canonical(path_));  // not a link to it
}

int Recorder::Keep() const {
  if (!HasBegun()) return 0;
  std::ofstream file(path_);
  file << script_;
  file.close();
  return file ? 0 : errno;
}

void Recorder::Begin(bool over_ip) {
  if (path_.empty()) return;
  last_event_ = platform::MonotonicNow();
  Write("# recorded by torvy-simulator");
  Write(over_ip ? "over ip" : "over serial");
}

void Recorder::Performed(const Step& step) {
  using Kind = StepRow::Kind;
  const Kind kind = step.row->kind;
  if (!HasBegun() || kind == Kind::kExpectation || kind == Kind::kHelp) return;
  WriteDeviceBytes();
  // Pauses before the driver's answers are not recorded, because expectations wait for the answers.
  constexpr std::chrono::milliseconds kMinPause{100};
  const auto pause = std::chrono::floor<std::chrono::milliseconds>(platform::MonotonicNow() - last_event_);
  if (pause > kMinPause) WriteWait(pause);
  if (kind != Kind::kWait) Write(step.line);
  last_event_ = platform::MonotonicNow();
}

void Recorder::Failed(std::string_view line, std::string_view why) {
  if (!HasBegun()) return;
  WriteDeviceBytes();
  Write("# failed: " + std::string(line) + (line.empty() ? "" : ": ") + std::string(why));
}

void Recorder::Waited(std::chrono::milliseconds time) {
  if (!HasBegun()) return;
  WriteDeviceBytes();
  WriteWait(time);
  last_event_ = platform::MonotonicNow();
}

void Recorder::WriteWait(std::chrono::milliseconds time) {
  constexpr std::chrono::milliseconds kMaxStep{1'000'000};
  for (; time.count() > 0; time -= kMaxStep) Write("wait " + std::to_string(std::min(time, kMaxStep).count()));
}

void Recorder::DeviceGot(std::string_view bytes) {
  if (!HasBegun() || is_flooded_) return;
  device_bytes_ += bytes;
  last_event_ = platform::MonotonicNow();
}

void Recorder::Logged(std::string_view text) {
  if (!HasBegun() || is_flooded_) return;
  last_event_ = platform::MonotonicNow();
  WriteDeviceBytes();
  if (!text.empty()) WriteExpectation("expect log", text);
}

void Recorder::DriverStopped(bool stopped) {
  if (!HasBegun()) return;
  WriteDeviceBytes();
  driver_is_stopped_ = stopped;
  if (!stopped) script_ += std::exchange(held_, {});
}

void Recorder::Ended(std::string_view console, const std::string& exit_state) {
  DriverStopped(false);
  if (!HasBegun()) return;
  while (!console.empty()) {
    const std::string_view line = console.substr(0, console.find('\n'));
    if (!line.empty()) WriteExpectation("expect console", line);
    console.remove_prefix(std::min(console.size(), line.size() + 1));
  }
  Write(exit_state == "status 0" ? "expect end" : "# the driver ended with " + exit_state);
}

void Recorder::WriteDeviceBytes() {
  for (std::string_view rest = device_bytes_; !rest.empty();) {
    std::string_view line = FirstLine(rest);
    rest.remove_prefix(line.size());
    for (; !line.empty(); line.remove_prefix(std::min(line.size(), kMaxShown))) {
      WriteExpectation("expect", line.substr(0, kMaxShown));
    }
  }
  device_bytes_.clear();
}

// Escapes the first and last characters of the text if they would be misread.
void Recorder::WriteExpectation(std::string_view words, std::string_view bytes) {
  const std::string begin = std::string(words) + ' ';
  std::string text = Printable(bytes);
  if (text.ends_with(' ')) text.replace(text.size() - 1, 1, "\\20");
  if (text.starts_with(' ')) text.replace(0, 1, "\\20");
  if (ReadStep(begin + text).text != bytes) text.replace(0, 1, '\\' + TwoDigits(text.front()));
  (driver_is_stopped_ ? held_ : script_) += begin + text + '\n';
}

#include "simulator/recorder.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "simulator/wording.h"

namespace {

// An expectation as a line of a script. The text's first and last characters are written so that they can be taken for
// nothing else.
std::string Expectation(std::string_view words, std::string_view bytes) {
  std::string text = Printable(bytes);
  if (text.ends_with(' ')) text.replace(text.size() - 1, 1, "\\20");
  if (text.starts_with(' ')) text.replace(0, 1, "\\20");
  std::string line = std::string(words) + ' ' + text;
  if (ReadStep(line).text == bytes) return line;
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto first = static_cast<unsigned char>(text.front());
  text.replace(0, 1, {'\\', kDigits[first / kDigits.size()], kDigits[first % kDigits.size()]});
  return std::string(words) + ' ' + text;
}

}  // namespace

Recorder::Recorder(const std::string& path) : file_(path) {
  if (!file_) throw std::system_error(errno, std::generic_category(), path);
}

void Recorder::Begin(bool over_ip) {
  begun_ = true;
  Write("# recorded by torvy-simulator");
  Write(over_ip ? "over ip" : "over serial");
}

void Recorder::Performed(const Step& step) {
  if (!begun_ || step.row->IsExpectation() || step.row->words == "help") return;
  WriteDeviceBytes();
  Write(step.line);
}

void Recorder::Logged(std::string_view text) {
  if (!begun_) return;
  WriteDeviceBytes();
  if (!text.empty()) Write(Expectation("expect log", text));
}

void Recorder::Ended(std::string_view console, int status) {
  if (!begun_) return;
  WriteDeviceBytes();
  while (!console.empty()) {
    const std::string_view line = console.substr(0, console.find('\n'));
    if (!line.empty()) Write(Expectation("expect console", line));
    console.remove_prefix(std::min(console.size(), line.size() + 1));
  }
  Write(status == 0 ? "expect end" : "# the driver ended with status " + std::to_string(status));
}

void Recorder::WriteDeviceBytes() {
  constexpr std::size_t kMostInALine = 60;
  for (std::string_view rest = device_bytes_; !rest.empty(); rest.remove_prefix(std::min(rest.size(), kMostInALine))) {
    Write(Expectation("expect", rest.substr(0, kMostInALine)));
  }
  device_bytes_.clear();
}

// Compares the driver with other relay programs on this machine; run by scripts/compare.

#include "benchmarks/measure.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "app/app.h"
#include "peers/wait_for.h"
#include "platform/process.h"

double Quantile(Samples samples, double part) {
  const auto index = static_cast<std::ptrdiff_t>(part * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), samples.begin() + index, samples.end());
  return samples[static_cast<std::size_t>(index)];
}

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

RunningDriver::RunningDriver(const std::string& program, bool over_ip) {
  std::vector<std::string> arguments{terminal.Path(), "127.0.0.1", std::to_string(host.Port()), "17"};
  if (over_ip) arguments = {"IP", "127.0.0.1", arguments[2], "17", "127.0.0.1", std::to_string(device.Port())};
  process = std::make_unique<ChildProcess>(program, arguments);
  Require(WaitFor([this] { return host.HasLogged(App::kReadyLine); }), "the driver's start");
}

std::string DeviceCommandBytes() {
  return DeviceCommand("0102", "ON", "17").GetRawCommand();
}

int main(int argument_count, char** arguments) {
  if (argument_count != 5) {
    std::fputs("usage: torvy-measure DRIVER MINIMAL-RELAY SOCAT DATA-FOLDER\n", stderr);
    return 2;
  }
  platform::PrepareProcess();
  try {
    const Measured measured{arguments[1], arguments[2], arguments[3], arguments[4]};
    MeasureLatency(measured);
    MeasureStreams(measured);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "torvy-measure: failed: %s\n", failure.what());
    return 1;
  }
}

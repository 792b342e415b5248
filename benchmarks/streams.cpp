// Measures the time of a stream of commands through the driver, by length.

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "benchmarks/measure.h"
#include "platform/clock.h"

namespace {

// Writes a stream to one descriptor and reads from another; returns the seconds until all expected bytes have arrived.
double Stream(int in, const std::string& stream, int out, std::size_t expected) {
  fcntl(in, F_SETFL, O_NONBLOCK);
  fcntl(out, F_SETFL, O_NONBLOCK);
  std::string_view rest = stream;
  std::vector<char> bytes(1 << 18);
  const auto start = platform::MonotonicNow();
  for (std::size_t got = 0; got < expected;) {
    pollfd waiting[2]{{out, POLLIN, 0}, {rest.empty() ? -1 : in, POLLOUT, 0}};
    Require(poll(waiting, 2, 20'000) > 0, "waiting for the stream");
    if (waiting[1].revents != 0) {
      const ssize_t sent = write(in, rest.data(), std::min(rest.size(), bytes.size()));
      Require(sent > 0 || errno == EAGAIN, "sending the stream");
      if (sent > 0) rest.remove_prefix(static_cast<std::size_t>(sent));
    }
    if (waiting[0].revents != 0) {
      const ssize_t count = read(out, bytes.data(), bytes.size());
      Require(count > 0, "reading the stream");
      got += static_cast<std::size_t>(count);
    }
  }
  return std::chrono::duration<double>(platform::MonotonicNow() - start).count();
}

double DriverStream(RunningDriver& driver, int commands) {
  const std::string command = DeviceCommandBytes();
  std::string stream;
  for (int i = 0; i < commands; ++i) stream += command;
  return Stream(driver.HostNumber(), stream, driver.DeviceNumber(true), static_cast<std::size_t>(commands) * 5);
}

}  // namespace

void MeasureStreams(const Measured& measured) {
  RunningDriver driver(measured.driver, true);

  constexpr int kMessages = 100'000;
  constexpr int kRepetitions = 7;
  constexpr auto kHundredThousands = std::to_array({1, 2, 3, 4, 6, 8});
  std::array<Samples, kHundredThousands.size()> by_driver;
  for (int i = 0; i < kRepetitions; ++i) {
    for (std::size_t j = 0; j < kHundredThousands.size(); ++j) {
      by_driver.at(j).push_back(DriverStream(driver, kHundredThousands.at(j) * kMessages));
    }
  }
  std::printf("\n| stream over TCP, median of %d | torvy-driver |\n|---|---|\n", kRepetitions);
  std::printf("| commands per second, for 100,000 commands | %.0f |\n", kMessages / Quantile(by_driver[0], 0.5));
  std::printf("| time for 400,000 commands relative to 100,000 | %.2f |\n",
              Quantile(by_driver[3], 0.5) / Quantile(by_driver[0], 0.5));
  std::ofstream data(measured.data_folder + "/stream.data");
  for (std::size_t j = 0; j < kHundredThousands.size(); ++j) {
    data << kHundredThousands.at(j) * kMessages;
    for (const double part : {0.5, 0.0, 1.0}) data << ' ' << 1000 * Quantile(by_driver.at(j), part);
    data << '\n';
  }
}

// Measures the time of a single command through the driver, compared with programs that only relay five bytes.

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>

#include "benchmarks/measure.h"
#include "peers/wait_for.h"
#include "platform/clock.h"
#include "platform/event_pump.h"

namespace {

constexpr std::size_t kSamples = 10'000;

// A relay to measure: after `command` is written to `in`, five bytes can be read from `out`.
struct Relay {
  const char* name;
  int in;
  int out;
  std::string command;
  Samples samples{};  // in microseconds
};

double RoundTrip(const Relay& relay) {
  const auto start = platform::MonotonicNow();
  Require(write(relay.in, relay.command.data(), relay.command.size()) >= 0, "sending");
  char bytes[16];
  for (std::size_t got = 0; got < 5;) {
    pollfd waiting{relay.out, POLLIN, 0};
    Require(poll(&waiting, 1, 10'000) == 1, "waiting for the device's bytes");
    const ssize_t count = read(relay.out, bytes, sizeof bytes);
    Require(count > 0, "reading the device's bytes");
    got += static_cast<std::size_t>(count);
  }
  return std::chrono::duration<double, std::micro>(platform::MonotonicNow() - start).count();
}

// Measures all relays in random order; in a fixed order, each would always follow the same one.
void Sample(std::vector<Relay>& relays) {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < relays.size() * kSamples; ++i) order.push_back(i % relays.size());
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  for (const std::size_t index : order) relays[index].samples.push_back(RoundTrip(relays[index]));
}

// Prints one row per relay, with the driver's time divided by the relay's. The driver is the first relay.
void PrintRows(const char* way, const std::vector<Relay>& relays) {
  for (const Relay& relay : relays) {
    std::printf("| %s | %s", way, relay.name);
    for (const double part : {0.5, 0.9, 0.99}) {
      const double time = Quantile(relay.samples, part);
      std::printf(" | %.1f us (%.2f)", time, Quantile(relays.front().samples, part) / time);
    }
    std::printf(" |\n");
  }
  std::fflush(stdout);
}

// Writes the distribution of the times, in one block per relay: for each thousandth, the time and the percentage.
void WriteDistribution(const std::string& path, const std::vector<Relay>& relays) {
  std::ofstream data(path);
  for (const Relay& relay : relays) {
    data << '"' << relay.name << "\"\n";
    for (int thousandth = 1; thousandth < 1000; ++thousandth) {
      data << Quantile(relay.samples, thousandth / 1000.0) << ' ' << thousandth / 10.0 << '\n';
    }
    data << "\n\n";
  }
}

std::string Loopback(std::int32_t port) {
  return "TCP:127.0.0.1:" + std::to_string(port) + ",nodelay";
}

}  // namespace

void MeasureLatency(const Measured& measured) {
  std::printf("| one command over | program | median (driver / program) | 90th percentile | 99th percentile |\n");
  std::printf("|---|---|---|---|---|\n");
  for (const bool over_ip : {true, false}) {
    RunningDriver driver(measured.driver, over_ip);
    std::vector<Relay> relays{
        {"torvy-driver", driver.HostNumber(), driver.DeviceNumber(over_ip), DeviceCommandBytes()}};

    Listener socat_host;
    Listener socat_device;
    PseudoTerminal terminal;
    const ChildProcess socat(measured.socat,
                             {Loopback(socat_host.Port()),
                              over_ip ? Loopback(socat_device.Port()) : "OPEN:" + terminal.Path() + ",raw,echo=0"});
    Require(WaitFor([&] { return socat_host.Peer() != nullptr && (!over_ip || socat_device.Peer() != nullptr); }),
            "socat's start");
    platform::EventPump::Instance().Run(std::chrono::milliseconds(500));  // until socat has opened its terminal
    relays.push_back({"socat", socat_host.Peer()->DescriptorNumber(),
                      over_ip ? socat_device.Peer()->DescriptorNumber() : terminal.Line().DescriptorNumber(), "0102U"});

    Listener minimal_host;
    Listener minimal_device;
    PseudoTerminal minimal_terminal;
    const ChildProcess minimal(measured.minimal_relay,
                               {std::to_string(minimal_host.Port()),
                                over_ip ? std::to_string(minimal_device.Port()) : minimal_terminal.Path()});
    Require(WaitFor([&] { return minimal_host.Peer() != nullptr && (!over_ip || minimal_device.Peer() != nullptr); }),
            "the minimal relay's start");
    platform::EventPump::Instance().Run(std::chrono::milliseconds(500));  // until it has opened its terminal
    relays.push_back({"minimal relay", minimal_host.Peer()->DescriptorNumber(),
                      over_ip ? minimal_device.Peer()->DescriptorNumber() : minimal_terminal.Line().DescriptorNumber(),
                      DeviceCommandBytes()});
    Sample(relays);
    PrintRows(over_ip ? "TCP" : "a terminal", relays);
    if (over_ip) WriteDistribution(measured.data_folder + "/latency.data", relays);
  }
}

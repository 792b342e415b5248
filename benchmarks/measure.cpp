// Measures the driver beside well-known programs that move bytes on this machine: the time that a lone command takes
// beside socat relaying its five bytes, and the rate of a stream of commands beside a mosquitto broker.
//
// Usage: torvy-measure DRIVER SOCAT MOSQUITTO

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "peers/child_process.h"
#include "peers/listener.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "peers/waiting.h"
#include "platform/tcp_client_socket.h"
#include "platform/ticks.h"

namespace {

constexpr const char* kReady = "Torvy Serial Remote Control interface version 1 (build 001) ready.";
constexpr int kRounds = 40;
constexpr int kSamplesARound = 250;

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

using Samples = std::vector<double>;

double Quantile(Samples samples, double part) {
  const auto index = static_cast<std::ptrdiff_t>(part * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), samples.begin() + index, samples.end());
  return samples[static_cast<std::size_t>(index)];
}

// A relay under measurement: bytes written to `in` bring five bytes out of `out`.
struct Relay {
  int in;
  int out;
  std::string command;
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

// Measures two relays in turn, so that both meet the same noise.
void CompareLatency(const char* name, const Relay& driver, const Relay& socat) {
  Samples by_driver;
  Samples by_socat;
  for (int round = 0; round < kRounds; ++round) {
    for (int i = 0; i < kSamplesARound; ++i) by_driver.push_back(RoundTrip(driver));
    for (int i = 0; i < kSamplesARound; ++i) by_socat.push_back(RoundTrip(socat));
  }
  std::printf("| %s, median | %.1f us | %.1f us | %.2f |\n", name, Quantile(by_driver, 0.5), Quantile(by_socat, 0.5),
              Quantile(by_driver, 0.5) / Quantile(by_socat, 0.5));
  std::printf("| %s, 99th percentile | %.1f us | %.1f us | %.2f |\n", name, Quantile(by_driver, 0.99),
              Quantile(by_socat, 0.99), Quantile(by_driver, 0.99) / Quantile(by_socat, 0.99));
  std::fflush(stdout);
}

std::string Loopback(std::int32_t port) {
  return "TCP:127.0.0.1:" + std::to_string(port) + ",nodelay";
}

// The driver between a host and a device, serial or in the network.
struct RunningDriver {
  SimulatedHost host;
  PseudoTerminal terminal;
  Listener device;
  std::unique_ptr<ChildProcess> process;

  RunningDriver(const std::string& program, bool over_ip) {
    std::vector<std::string> arguments{terminal.Path(), "127.0.0.1", std::to_string(host.Port()), "17"};
    if (over_ip) arguments = {"IP", "127.0.0.1", arguments[2], "17", "127.0.0.1", std::to_string(device.Port())};
    process = std::make_unique<ChildProcess>(program, arguments);
    Require(WaitFor([this] { return host.HasLogged(kReady); }), "the driver's start");
  }
  Relay AsRelay(bool over_ip) {
    return {host.Link()->Number(), over_ip ? device.Peer()->Number() : terminal.Line().Number(),
            DeviceCommand("0102", "ON", "17").GetRawCommand()};
  }
};

void CompareLatencies(const std::string& driver_program, const std::string& socat_program) {
  for (const bool over_ip : {true, false}) {
    RunningDriver driver(driver_program, over_ip);
    Listener host;
    Listener device;
    PseudoTerminal terminal;
    const ChildProcess socat(
        socat_program,
        {Loopback(host.Port()), over_ip ? Loopback(device.Port()) : "OPEN:" + terminal.Path() + ",raw,echo=0"});
    Require(WaitFor([&] { return host.Peer() != nullptr && (!over_ip || device.Peer() != nullptr); }), "socat's start");
    platform::EventPump::Instance().Run(500);  // lets socat open its terminal
    const Relay relay{host.Peer()->Number(), over_ip ? device.Peer()->Number() : terminal.Line().Number(), "0102U"};
    CompareLatency(over_ip ? "one command over TCP" : "one command over a terminal", driver.AsRelay(over_ip), relay);
  }
}

// Writes a stream to one descriptor and reads what comes out of another; returns the seconds until all had come.
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
  std::string stream;
  for (int i = 0; i < commands; ++i) stream += driver.AsRelay(true).command;
  return Stream(driver.host.Link()->Number(), stream, driver.device.Peer()->Number(),
                static_cast<std::size_t>(commands) * 5);
}

// A plain connection to the broker, past its greeting.
class BrokerClient : public platform::TcpClientSocket {
 public:
  explicit BrokerClient(std::int32_t port) {
    Address = "127.0.0.1";
    Port = port;
    // The broker takes a moment to listen.
    Require(WaitFor([this] {
              if (!IsConnected()) {
                Connect();
                WaitFor([this] { return IsConnected(); }, std::chrono::milliseconds(50));
              }
              return IsConnected();
            }),
            "connecting to the broker");
  }
  void Ask(std::string_view packet, std::size_t answer_size) {
    Write(packet);
    Require(WaitFor([&] { return answers_ >= answer_size; }), "the broker's answer");
    answers_ = 0;
  }
  int Number() const { return DescriptorNumber(); }

 protected:
  void Event_Connected() override {}
  void Event_DataAvailable() override { answers_ += ReadAll().size(); }
  void Event_Error() override {}

 private:
  std::size_t answers_ = 0;
};

double BrokerStream(const BrokerClient& publisher, const BrokerClient& subscriber, int messages) {
  constexpr std::string_view kPublish("\x30\x08\x00\x01t0102U", 10);
  std::string stream;
  for (int i = 0; i < messages; ++i) stream += kPublish;
  return Stream(publisher.Number(), stream, subscriber.Number(), stream.size());
}

void CompareThroughput(const std::string& driver_program, const std::string& mosquitto_program) {
  std::int32_t port = 0;
  {
    const Listener free_port;
    port = free_port.Port();
  }
  const std::string configuration = "/tmp/torvy-measure-" + std::to_string(getpid()) + ".conf";
  std::ofstream(configuration) << "listener " << port << " 127.0.0.1\nallow_anonymous true\nset_tcp_nodelay true\n"
                               << "log_dest none\nmax_queued_messages 0\npersistence false\n";
  const ChildProcess broker(mosquitto_program, {"-c", configuration});
  BrokerClient publisher(port);
  BrokerClient subscriber(port);
  publisher.Ask({"\x10\x0D\x00\x04MQTT\x04\x02\x00\x00\x00\x01p", 15}, 4);
  subscriber.Ask({"\x10\x0D\x00\x04MQTT\x04\x02\x00\x00\x00\x01s", 15}, 4);
  subscriber.Ask({"\x82\x06\x00\x01\x00\x01t\x00", 8}, 5);
  RunningDriver driver(driver_program, true);

  constexpr int kMessages = 100'000;
  constexpr int kRepetitions = 7;
  Samples by_driver;
  Samples by_driver_four_times;
  Samples by_broker;
  for (int i = 0; i < kRepetitions; ++i) {
    by_driver.push_back(DriverStream(driver, kMessages));
    by_driver_four_times.push_back(DriverStream(driver, 4 * kMessages));
    by_broker.push_back(BrokerStream(publisher, subscriber, kMessages));
  }
  remove(configuration.c_str());
  const double driver_rate = kMessages / Quantile(by_driver, 0.5);
  const double broker_rate = kMessages / Quantile(by_broker, 0.5);
  std::printf("\n| stream over TCP, median of %d | torvy-driver | mosquitto | ratio |\n|---|---|---|---|\n",
              kRepetitions);
  std::printf("| commands a second, of 100,000 | %.0f | %.0f | %.1f |\n", driver_rate, broker_rate,
              driver_rate / broker_rate);
  std::printf("| time of 400,000 to that of 100,000 | %.2f | | |\n",
              Quantile(by_driver_four_times, 0.5) / Quantile(by_driver, 0.5));
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count != 4) {
    std::fputs("usage: torvy-measure DRIVER SOCAT MOSQUITTO\n", stderr);
    return 2;
  }
  try {
    std::printf("| %d samples each, in turn | torvy-driver | socat | ratio |\n|---|---|---|---|\n",
                kRounds * kSamplesARound);
    CompareLatencies(arguments[1], arguments[2]);
    CompareThroughput(arguments[1], arguments[3]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "torvy-measure: failed: %s\n", failure.what());
    return 1;
  }
}

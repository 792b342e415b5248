// The time of a stream of commands through the driver by its length, and its rate beside a mosquitto broker.

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
#include "peers/waiting.h"
#include "platform/clock.h"
#include "platform/tcp_client_socket.h"

namespace {

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
  const std::string command = OneCommand();
  std::string stream;
  for (int i = 0; i < commands; ++i) stream += command;
  return Stream(driver.HostNumber(), stream, driver.DeviceNumber(true), static_cast<std::size_t>(commands) * 5);
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
                return WaitFor([this] { return IsConnected(); }, std::chrono::milliseconds(50));
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

}  // namespace

void MeasureStreams(const Measured& measured) {
  std::int32_t port = 0;
  {
    const Listener free_port;
    port = free_port.Port();
  }
  const std::string configuration = "/tmp/torvy-measure-" + std::to_string(getpid()) + ".conf";
  std::ofstream(configuration) << "listener " << port << " 127.0.0.1\nallow_anonymous true\nset_tcp_nodelay true\n"
                               << "log_dest none\nmax_queued_messages 0\npersistence false\n";
  const ChildProcess broker(measured.mosquitto, {"-c", configuration});
  BrokerClient publisher(port);
  BrokerClient subscriber(port);
  publisher.Ask({"\x10\x0D\x00\x04MQTT\x04\x02\x00\x00\x00\x01p", 15}, 4);
  subscriber.Ask({"\x10\x0D\x00\x04MQTT\x04\x02\x00\x00\x00\x01s", 15}, 4);
  subscriber.Ask({"\x82\x06\x00\x01\x00\x01t\x00", 8}, 5);
  RunningDriver driver(measured.driver, true);

  constexpr int kMessages = 100'000;
  constexpr int kRepetitions = 7;
  constexpr std::array<int, 6> kHundredThousands{1, 2, 3, 4, 6, 8};
  std::array<Samples, kHundredThousands.size()> by_driver;
  Samples by_broker;
  for (int i = 0; i < kRepetitions; ++i) {
    for (std::size_t j = 0; j < kHundredThousands.size(); ++j) {
      by_driver.at(j).push_back(DriverStream(driver, kHundredThousands.at(j) * kMessages));
    }
    by_broker.push_back(BrokerStream(publisher, subscriber, kMessages));
  }
  remove(configuration.c_str());
  const double driver_rate = kMessages / Quantile(by_driver[0], 0.5);
  const double broker_rate = kMessages / Quantile(by_broker, 0.5);
  std::printf("\n| stream over TCP, median of %d | torvy-driver | mosquitto | ratio |\n|---|---|---|---|\n",
              kRepetitions);
  std::printf("| commands a second, of 100,000 | %.0f | %.0f | %.1f |\n", driver_rate, broker_rate,
              driver_rate / broker_rate);
  std::printf("| time of 400,000 to that of 100,000 | %.2f | | |\n",
              Quantile(by_driver[3], 0.5) / Quantile(by_driver[0], 0.5));
  std::ofstream data(measured.data_folder + "/stream.data");
  for (std::size_t j = 0; j < kHundredThousands.size(); ++j) {
    data << kHundredThousands.at(j) * kMessages;
    for (const double part : {0.5, 0.0, 1.0}) data << ' ' << 1000 * Quantile(by_driver.at(j), part);
    data << '\n';
  }
}

// What the driver's own work costs, without the system calls around it.

#include <benchmark/benchmark.h>

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/host_socket.h"
#include "peers/detached_port.h"
#include "peers/simulated_host.h"

namespace {

// A host socket whose received bytes are put in place by hand.
class FedSocket : public cQuorvaneDeviceSocket {
 public:
  using cQuorvaneDeviceSocket::cQuorvaneDeviceSocket;
  void Feed(const std::string& bytes) {
    Buffer += bytes;
    Event_DataAvailable();
  }
};

void Framing(benchmark::State& state, cQuorvaneCommand message) {
  const std::string packet = message.GetRawCommand();
  std::string stream;
  while (stream.size() < static_cast<std::size_t>(state.range(0))) stream += packet;
  std::int64_t packets = 0;
  FedSocket socket([&packets](cQuorvaneCommand&) { ++packets; });
  for ([[maybe_unused]] const auto iteration : state) socket.Feed(stream);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stream.size()));
  state.SetItemsProcessed(packets);
}

constexpr std::int64_t kStreamSizes[] = {1 << 10, 64 << 10, 16 << 20};

void FramePlainPackets(benchmark::State& state) {
  Framing(state, ControllerCommand("D"));
}
BENCHMARK(FramePlainPackets)->Arg(kStreamSizes[0])->Arg(kStreamSizes[1])->Arg(kStreamSizes[2]);

void FrameMultipackets(benchmark::State& state) {
  Framing(state, DeviceCommand("0102", "ON", "17"));
}
BENCHMARK(FrameMultipackets)->Arg(kStreamSizes[0])->Arg(kStreamSizes[1])->Arg(kStreamSizes[2]);

// A packet of so many empty entries with different keys.
std::string PacketOf(std::int64_t entries) {
  std::string packet("J\0\0\x80", 4);
  for (std::int64_t i = 0; i < entries; ++i) {
    packet += {'k',
               static_cast<char>('!' + i % 30),
               static_cast<char>('!' + i / 30 % 30),
               static_cast<char>('!' + i / 900),
               '\0',
               '\0'};
  }
  return packet;
}

void ParseByEntryCount(benchmark::State& state) {
  const std::string packet = PacketOf(state.range(0));
  for ([[maybe_unused]] const auto iteration : state) {
    cQuorvaneCommand message;
    benchmark::DoNotOptimize(message.initFromMultiPacket(packet));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ParseByEntryCount)->Arg(3)->Arg(16)->Arg(17)->Arg(100)->Arg(1000)->Arg(10922)->Complexity(benchmark::oN);

void BuildPlainPacket(benchmark::State& state) {
  cQuorvaneCommand message = ControllerCommand("D");
  for ([[maybe_unused]] const auto iteration : state) benchmark::DoNotOptimize(message.GetRawCommand());
}
BENCHMARK(BuildPlainPacket);

void BuildMultipacket(benchmark::State& state) {
  cQuorvaneCommand message = DeviceCommand("0102", "ON", "17");
  for ([[maybe_unused]] const auto iteration : state) benchmark::DoNotOptimize(message.GetRawCommand());
}
BENCHMARK(BuildMultipacket);

void Translate(benchmark::State& state) {
  State().DevicePort =
      std::make_unique<DetachedPort>([](const std::string& data) { benchmark::DoNotOptimize(data.data()); });
  cTorvy driver;
  const cQuorvaneCommand message = DeviceCommand("0102", "ON", "17");
  for ([[maybe_unused]] const auto iteration : state) driver.HandleQuorvaneCommand(message);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Translate);

}  // namespace

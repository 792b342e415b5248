// Measures the driver's own work, without system calls.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/host_socket.h"
#include "peers/fake_port.h"
#include "peers/simulated_host.h"

namespace {

// A host socket that is fed bytes directly: at most kHostReceiveSize per data event, as from one receive.
class FedSocket : public cQuorvaneDeviceSocket {
 public:
  using cQuorvaneDeviceSocket::cQuorvaneDeviceSocket;
  void Feed(std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(kHostReceiveSize, bytes.size()))) {
      Buffer += bytes.substr(0, kHostReceiveSize);
      Event_DataAvailable();
    }
  }
};

void Framing(benchmark::State& state, cQuorvaneCommand message) {
  const std::string packet = message.GetRawCommand();
  std::string stream;
  while (stream.size() < static_cast<std::size_t>(state.range(0))) stream += packet;
  std::int64_t packets = 0;
  FedSocket socket([&packets](const cQuorvaneCommand&) { ++packets; });
  for ([[maybe_unused]] const auto iteration : state) socket.Feed(stream);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stream.size()));
  state.SetItemsProcessed(packets);
}

constexpr auto kStreamSizes = std::to_array<std::int64_t>({1 << 10, 64 << 10, 16 << 20});

void FramePlainPackets(benchmark::State& state) {
  Framing(state, ControllerCommand("D"));
}
BENCHMARK(FramePlainPackets)->Arg(kStreamSizes[0])->Arg(kStreamSizes[1])->Arg(kStreamSizes[2]);

void FrameMultipackets(benchmark::State& state) {
  Framing(state, DeviceCommand("0102", "ON", "17"));
}
BENCHMARK(FrameMultipackets)->Arg(kStreamSizes[0])->Arg(kStreamSizes[1])->Arg(kStreamSizes[2]);

// Returns a packet of empty entries, whose keys are numbers that count up by `step`.
std::string PacketOf(std::int64_t entries, std::uint32_t step) {
  std::string packet("J\0\0\x80", 4);
  std::uint32_t number = 0x21212121;
  for (std::int64_t i = 0; i < entries; ++i, number += step) {
    for (int byte = 0; byte < 4; ++byte) packet += static_cast<char>(number >> 8 * byte & 0xFF);
    packet += std::string(2, '\0');
  }
  return packet;
}

void ParseAndList(benchmark::State& state, std::uint32_t step) {
  const std::string packet = PacketOf(state.range(0), step);
  for ([[maybe_unused]] const auto iteration : state) {
    cQuorvaneCommand message;
    message.initFromMultiPacket(packet);
    benchmark::DoNotOptimize(message.GetMulti("addr"));
    benchmark::DoNotOptimize(message.GetKeys());
  }
  state.SetComplexityN(state.range(0));
}

void ParseByEntryCount(benchmark::State& state) {
  const std::string packet = PacketOf(state.range(0), 1);
  for ([[maybe_unused]] const auto iteration : state) {
    cQuorvaneCommand message;
    message.initFromMultiPacket(packet);
    benchmark::DoNotOptimize(message.GetMulti("addr"));
    benchmark::DoNotOptimize(message.GetMulti("mcmd"));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ParseByEntryCount)->Arg(3)->Arg(16)->Arg(100)->Arg(1000)->Arg(10921)->Complexity(benchmark::oN);

// The second set of keys would share one bucket of a hash table with 15173 buckets.
void ListKeysInARow(benchmark::State& state) {
  ParseAndList(state, 1);
}
BENCHMARK(ListKeysInARow)->Arg(3)->Arg(1000)->Arg(10921);

void ListKeysThatShareAResidue(benchmark::State& state) {
  ParseAndList(state, 15173);
}
BENCHMARK(ListKeysThatShareAResidue)->Arg(3)->Arg(1000)->Arg(10921);

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
      std::make_unique<FakePort>([](const std::string& data) { benchmark::DoNotOptimize(data.data()); });
  cTorvy driver;
  const cQuorvaneCommand message = DeviceCommand("0102", "ON", "17");
  for ([[maybe_unused]] const auto iteration : state) driver.HandleQuorvaneCommand(message);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Translate);

}  // namespace

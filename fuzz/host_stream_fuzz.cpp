// Sends a host stream through a real socket; the driver splits and handles it. The first byte is the number of bytes
// per send, or 0 for a single send. For any input, the driver must stay connected, leave no complete packet behind, and
// answer only with log packets.

#include <sys/socket.h>

#include <cstdint>

#include "app/process_state.h"
#include "device/torvy.h"
#include "fuzz/require.h"
#include "host/connection.h"
#include "host/framing.h"
#include "host/host_socket.h"
#include "peers/fake_port.h"
#include "peers/simulated_host.h"
#include "peers/wait_for.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static SimulatedHost host;
  if (State().HostSocket == nullptr) {
    ConnectToHost("127.0.0.1", host.Port(), "17");
    Require(WaitFor([] { return host.ConnectionID() == "17"; }));
    State().Driver = std::make_shared<cTorvy>();
    State().DevicePort = std::make_shared<FakePort>([](const std::string&) {});
  }
  cQuorvaneDeviceSocket& socket = *State().HostSocket;
  socket.Buffer.clear();
  State().DebugMode = false;
  State().QuitRequested = false;
  if (size < 2) return 0;
  const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
  const Frame early = FrontFrame(stream.substr(0, 1 + data[0]));
  const bool is_final = early.kind == Frame::Kind::kPlain || early.kind == Frame::Kind::kMulti;
  Require(!is_final || early.length == FrontFrame(stream).length);  // more bytes change nothing
  const std::size_t piece = data[0] == 0 ? size : data[0];
  for (std::size_t at = 1; at < size; at += piece) {
    Require(send(host.Link()->DescriptorNumber(), data + at, std::min(piece, size - at), 0) >= 0);
    platform::EventPump::Instance().RunOnly(socket);
  }
  Require(socket.IsConnected());
  Require(socket.Buffer.size() < 65536 + cQuorvaneDeviceSocket::kHostReceiveSize);
  platform::EventPump::Instance().Run(std::chrono::milliseconds(0));
  const Frame::Kind rest = socket.Buffer.empty() ? Frame::Kind::kIncomplete : FrontFrame(socket.Buffer).kind;
  Require(rest == Frame::Kind::kIncomplete || rest == Frame::Kind::kMultiIncomplete);
  Require(host.Unexpected().empty());
  host.ClearLog();
  return 0;
}

#include "host/connection.h"

#include <chrono>
#include <memory>

#include "app/process_state.h"
#include "host/dispatch.h"
#include "host/host_socket.h"
#include "platform/clock.h"
#include "platform/event_pump.h"

namespace {

constexpr const char* kDefaultAddress = "127.0.0.1";
constexpr std::int32_t kDefaultPort = 20300;
constexpr std::chrono::milliseconds kWaitSlice{10};

bool HostIsConnected() {
  const auto socket = State().HostSocket;
  return socket != nullptr && socket->IsConnected();
}

}  // namespace

void ConnectToHost(const std::string& address, std::int32_t port, const std::string& connection_id) {
  if (const auto previous = State().HostSocket) previous->Close();
  const auto socket = std::make_shared<cQuorvaneDeviceSocket>(DispatchHostCommand);
  State().HostSocket = socket;
  socket->Address = address.empty() ? kDefaultAddress : address;
  socket->Port = port == 0 ? kDefaultPort : port;
  socket->ConnectionID = connection_id;
  socket->Connect();
}

bool WaitForHostConnection(std::int32_t seconds) {
  const std::int64_t start = platform::Ticks();
  const std::int64_t limit = std::int64_t{seconds} * platform::kTicksPerSecond;
  while (!HostIsConnected() && platform::Ticks() - start < limit) {
    platform::EventPump::Instance().Run(kWaitSlice);
    if (const auto socket = State().HostSocket) socket->Poll();
  }
  return HostIsConnected();
}

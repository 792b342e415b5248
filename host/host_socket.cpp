#include "host/host_socket.h"

#include <chrono>
#include <utility>

#include "app/process_state.h"
#include "host/framing.h"
#include "host/log.h"
#include "message/packet_layout.h"
#include "platform/console.h"

namespace {

constexpr std::string_view kMalformed = "torvy: Received malformed packet from host";
constexpr std::string_view kUnparsable = "unable to parse multipacket";

}  // namespace

// The default keep-alive times would leave the serial line locked for hours if the host lost power.
cQuorvaneDeviceSocket::cQuorvaneDeviceSocket(MessageHandler handler)
    : TcpClientSocket(kHostReceiveSize,
                      KeepAlive{.idle = std::chrono::seconds(60), .interval = std::chrono::seconds(15), .probes = 4}),
      handler_(std::move(handler)) {}

void cQuorvaneDeviceSocket::Event_Connected() {
  Write("TORVY:" + ConnectionID + '\r');
}

void cQuorvaneDeviceSocket::Event_Error() {
  platform::PrintLine("Quorvane Pipe Error");
  platform::PrintLine("");
  State().QuitRequested = true;
}

void cQuorvaneDeviceSocket::Event_DataAvailable() {
  using Kind = Frame::Kind;
  Buffer += ReadAll();
  const std::weak_ptr<void> lifetime = Lifetime();
  const MessageHandler handler = handler_;  // stays alive if the handler releases the socket
  while (!Buffer.empty()) {
    const Frame frame = FrontFrame(Buffer);
    if (frame.kind == Kind::kIncomplete) break;
    // The receive may have split this packet. The next data event follows at once.
    const bool may_change = frame.kind == Kind::kMultiIncomplete || frame.kind == Kind::kPlainUnlessMore;
    if (may_change && InputWaiting() > 0) break;
    if (frame.kind == Kind::kMultiIncomplete) {
      SendLog("bufflength is " + std::to_string(Buffer.size()) + " packet length is: " + std::to_string(frame.length),
              kLogLevelOperational);
      break;
    }
    if (frame.kind == Kind::kZeroLength) {
      // Bytes that wait in the kernel may complete the next packet: first receive them, up to the largest packet.
      if (Buffer.size() < layout::kMaxMultiLength && InputWaiting() > 0) break;
      SendLog(kMalformed, kLogLevelDetail);
      Buffer.erase(0, NextCompletePacket(Buffer));
      continue;
    }
    std::string packet = Buffer.substr(0, frame.length);
    Buffer.erase(0, frame.length);
    cQuorvaneCommand message;
    if (frame.kind == Kind::kMulti) {
      // Never fails, but the host's other drivers check it in the same way.
      if (!message.initFromMultiPacket(std::move(packet))) {
        SendLog(kUnparsable, kLogLevelUnparsable);
        break;
      }
    } else if (!message.InitFromCommonMessage(std::move(packet))) {
      SendLog(kMalformed, kLogLevelDetail);
      continue;
    }
    handler(message);
    if (lifetime.expired()) return;
  }
}

void cQuorvaneDeviceSocket::SendCommand(cQuorvaneCommand& command) {
  Write(command.GetRawCommand());
}

void cQuorvaneDeviceSocket::SendLog(std::string_view text, std::int32_t level) {
  Write(BuildLogPacket(text, level));
}

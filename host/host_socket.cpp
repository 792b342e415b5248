#include "host/host_socket.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "app/process_state.h"
#include "host/framing.h"
#include "host/log.h"
#include "platform/console.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kLongestLogText = 249;  // with the level byte, the 250 bytes that the host takes

constexpr std::string_view kMalformed = "torvy: Received malformed packet from host";
constexpr std::string_view kUnparsable = "unable to parse multipacket";

}  // namespace

// A host that lost its power must not keep the device's line locked.
cQuorvaneDeviceSocket::cQuorvaneDeviceSocket(MessageHandler handler)
    : TcpClientSocket(kHostReceiveSize,
                      KeepAlive{.idle = std::chrono::seconds(60), .interval = std::chrono::seconds(15), .probes = 4}),
      handler_(std::move(handler)) {}

void cQuorvaneDeviceSocket::Event_Connected() {
  Write("TORVY:" + ConnectionID + '\r');
}

void cQuorvaneDeviceSocket::Event_Error() {
  platform::PrintLineAndEmptyLine("Quorvane Pipe Error");
  State().QuitRequested = true;
}

void cQuorvaneDeviceSocket::Event_DataAvailable() {
  using Kind = Frame::Kind;
  Buffer += ReadAll();
  const Watch watch(*this);
  const MessageHandler handler = handler_;  // outlives a socket that the handler releases
  std::size_t front = 0;
  bool in_zero_run = false;
  // Where our own receive cut a multipacket, the rest of it is here already: the host did not send it in pieces. What
  // completes one packet can cut the next: a flood of them must not keep this event for ever.
  std::size_t allowance = kCompletionSize;
  const auto take_more = [this, &allowance](std::size_t missing) {
    const std::string more = ReadWaiting(std::min(missing, allowance));
    Buffer += more;
    allowance -= more.size();
    return !more.empty();
  };
  while (front < Buffer.size()) {
    const std::string_view bytes = std::string_view(Buffer).substr(front);
    const Frame frame = FrontFrame(bytes);
    if (frame.missing != 0 && take_more(frame.missing)) continue;
    if (frame.kind == Kind::kPlainIncomplete || (frame.missing != 0 && InputWaiting() > 0)) break;
    if (frame.kind == Kind::kMultiIncomplete) {
      SendLog("bufflength is " + std::to_string(bytes.size()) + " packet length is: " + std::to_string(frame.length),
              kLogLevelOperational);
      break;
    }
    front += frame.length;
    if (frame.kind == Kind::kZeroLength) {
      // One line for the whole run: a stream of zeros must not come back to the host as a flood of complaints.
      if (!in_zero_run) SendLog(kMalformed, kLogLevelDetail);
      in_zero_run = true;
      continue;
    }
    in_zero_run = false;

    cQuorvaneCommand message;
    std::string packet(bytes.substr(0, frame.length));
    if (frame.kind == Kind::kMulti) {
      if (!message.initFromMultiPacket(std::move(packet))) {
        SendLog(kUnparsable, kLogLevelUnparsable);
        break;
      }
    } else if (!message.InitFromCommonMessage(std::move(packet))) {
      SendLog(kMalformed, kLogLevelDetail);
      continue;
    }
    handler(message);
    if (!watch.Alive()) return;
  }
  Buffer.erase(0, front);
}

void cQuorvaneDeviceSocket::SendCommand(cQuorvaneCommand& command) {
  Write(command.GetRawCommand());
}

void cQuorvaneDeviceSocket::SendLog(std::string_view text, std::int32_t level) {
  text = platform::CutToBytes(text, kLongestLogText);
  std::string packet = "L";
  packet += static_cast<char>(text.size() + 3);  // header, this byte and the level
  packet += static_cast<char>(level & 0xFF);
  packet += text;
  Write(packet);
}

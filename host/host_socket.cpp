#include "host/host_socket.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "app/process_state.h"
#include "host/log.h"
#include "message/packet_layout.h"
#include "platform/console.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kLongestLogText = 249;  // with the level byte, the 250 bytes that the host takes

// The most that a data event takes beyond its one receive, to complete what that receive cut: a packet of the largest
// size. Bounded, because each completion can cut another packet.
constexpr std::size_t kCompletionSize = 65535;

constexpr std::string_view kMalformed = "torvy: Received malformed packet from host";
constexpr std::string_view kUnparsable = "unable to parse multipacket";

}  // namespace

// Without keep-alive, a host that lost its power would leave the serial line locked.
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
  completion_left_ = kCompletionSize;
  const LifetimeGuard guard(*this);
  const MessageHandler handler = handler_;  // outlives a socket that the handler releases
  std::size_t front = 0;
  while (front < Buffer.size()) {
    const Frame frame = NextFrame(front);
    const std::string_view bytes = std::string_view(Buffer).substr(front);
    if (frame.kind == Kind::kIncomplete) break;
    if (frame.kind == Kind::kMultiIncomplete) {
      SendLog("bufflength is " + std::to_string(bytes.size()) + " packet length is: " + std::to_string(frame.length),
              kLogLevelOperational);
      break;
    }
    if (frame.kind == Kind::kZeroLength) {
      SendLog(kMalformed, kLogLevelDetail);
      front = SkipZeroLength(front);
      continue;
    }
    front += frame.length;

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
    if (!guard.Alive()) return;
  }
  Buffer.erase(0, front);
}

// The frame at `front`, completed from what waits in the kernel: what our own receive cut is not incomplete.
Frame cQuorvaneDeviceSocket::NextFrame(std::size_t front) {
  while (true) {
    Frame frame = FrontFrame(std::string_view(Buffer).substr(front));
    if (Complete(frame.missing)) continue;
    // The rest of it is left to the next event.
    if (frame.missing != 0 && InputWaiting() > 0) frame.kind = Frame::Kind::kIncomplete;
    return frame;
  }
}

// Where framing goes on after the zero length at `front`. If all that was received is in vain, one more receive
// follows, because the last one may have cut the packet that comes next.
std::size_t cQuorvaneDeviceSocket::SkipZeroLength(std::size_t front) {
  const auto next = [this, front] { return front + NextWholePacket(std::string_view(Buffer).substr(front)); };
  const std::size_t offset = next();
  if (offset < Buffer.size() || !Complete(kHostReceiveSize)) return offset;
  completion_left_ = 0;  // once per data event, which more packets would make too long
  return next();
}

// Receives up to `missing` more bytes, within the limit of this data event; returns whether there were any.
bool cQuorvaneDeviceSocket::Complete(std::size_t missing) {
  missing = std::min(missing, completion_left_);
  if (missing == 0 || !IsOpen()) return false;
  const std::string more = ReadWaiting(missing);
  Buffer += more;
  completion_left_ -= more.size();
  return !more.empty();
}

void cQuorvaneDeviceSocket::SendCommand(cQuorvaneCommand& command) {
  Write(command.GetRawCommand());
}

void cQuorvaneDeviceSocket::SendLog(std::string_view text, std::int32_t level) {
  text = platform::CutToBytes(text, kLongestLogText);
  std::string packet = "L";
  packet += static_cast<char>(layout::kLogHeaderSize + text.size());
  packet += static_cast<char>(level & 0xFF);
  packet += text;
  Write(packet);
}

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

constexpr std::size_t kLongestLogText = 249;  // with the level byte, 250 bytes, the most that the host accepts

// The most that a data event reads beyond its one receive, to complete a packet split by that receive: one packet of
// maximum size. Limited, because the completion can split the next packet.
constexpr std::size_t kCompletionSize = 65535;

constexpr std::string_view kMalformed = "torvy: Received malformed packet from host";
constexpr std::string_view kUnparsable = "unable to parse multipacket";

}  // namespace

// Without keep-alive, the serial line would stay locked if the host lost power.
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
  const MessageHandler handler = handler_;  // stays alive if the handler releases the socket
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

// Returns the frame at `front`, after reading the missing bytes from the kernel: a packet that only the last receive
// split is not incomplete.
Frame cQuorvaneDeviceSocket::NextFrame(std::size_t front) {
  while (true) {
    Frame frame = FrontFrame(std::string_view(Buffer).substr(front));
    if (Complete(frame.missing)) continue;
    // The limit is reached: the next data event reads the rest.
    if (frame.missing != 0 && InputWaiting() > 0) frame.kind = Frame::Kind::kIncomplete;
    return frame;
  }
}

// Returns where framing continues after the zero length at `front`. If no packet follows in the buffer, receives once
// more, because the last receive may have split the next packet.
std::size_t cQuorvaneDeviceSocket::SkipZeroLength(std::size_t front) {
  const auto next = [this, front] { return front + NextWholePacket(std::string_view(Buffer).substr(front)); };
  const std::size_t offset = next();
  if (offset < Buffer.size() || !Complete(kHostReceiveSize)) return offset;
  completion_left_ = 0;  // at most once per data event, to bound its duration
  return next();
}

// Receives up to `missing` more bytes, within this data event's limit; returns whether any were received.
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

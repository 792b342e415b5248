#include "host/device_socket.h"

#include <memory>

#include "app/process_state.h"
#include "platform/console.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kMultiHeadSize = 4;
constexpr std::size_t kPlainHeadSize = 2;
constexpr std::size_t kLongestLogText = 249;  // with the level byte, the 250 bytes that the host takes
constexpr int kPollsAfterLog = 3;

constexpr std::string_view kMalformed = "torvy: Received malformed packet from host";
constexpr std::string_view kUnparsable = "unable to parse multipacket";

// What the front of the receive buffer holds.
struct Frame {
  enum class Kind { kPlain, kMulti, kPlainIncomplete, kMultiIncomplete, kZeroLength };
  Kind kind;
  std::size_t length;  // bytes of the packet, as its head says; of a zero length's head alone
};

std::size_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<unsigned char>(bytes[offset]);
}

Frame FrontFrame(std::string_view bytes) {
  using Kind = Frame::Kind;
  const bool starts_multi = platform::ToLower(bytes[0]) == 'j';
  if (starts_multi && bytes.size() > kMultiHeadSize) {
    const std::size_t length = ByteAt(bytes, 1) + 256 * ByteAt(bytes, 2);
    if (length == 0) return {Kind::kZeroLength, kMultiHeadSize};
    return {length > bytes.size() ? Kind::kMultiIncomplete : Kind::kMulti, length};
  }
  if (bytes.size() < kPlainHeadSize) return {Kind::kPlainIncomplete, kPlainHeadSize};
  const std::size_t length = ByteAt(bytes, 1);
  if (length == 0) {
    // With more to come it may be a multipacket whose length is a multiple of 256.
    return starts_multi ? Frame{Kind::kPlainIncomplete, kMultiHeadSize} : Frame{Kind::kZeroLength, kPlainHeadSize};
  }
  return {length > bytes.size() ? Kind::kPlainIncomplete : Kind::kPlain, length};
}

}  // namespace

void cQuorvaneDeviceSocket::Event_Connected() {
  Write("TORVY:" + ConnectionID + '\r');
}

void cQuorvaneDeviceSocket::Event_Error() {
  platform::PrintLine("Quorvane Pipe Error" + std::string(platform::kEndOfLine));
  State().QuitRequested = true;
}

void cQuorvaneDeviceSocket::Event_DataAvailable() {
  using Kind = Frame::Kind;
  Buffer += ReadAll();
  const Watch watch(*this);
  const MessageHandler handler = handler_;  // outlives a socket that the handler releases
  std::size_t front = 0;
  bool in_zero_run = false;
  while (front < Buffer.size()) {
    const std::string_view bytes = std::string_view(Buffer).substr(front);
    const Frame frame = FrontFrame(bytes);
    if (frame.kind == Kind::kPlainIncomplete) break;
    if (frame.kind == Kind::kMultiIncomplete) {
      SendLog("bufflength is " + std::to_string(bytes.size()) + " packet length is: " + std::to_string(frame.length),
              kLevelOperational);
      break;
    }
    front += frame.length;
    if (frame.kind == Kind::kZeroLength) {
      // One line for the whole run: a stream of zeros must not come back to the host as a flood of complaints.
      if (!in_zero_run) SendLog(kMalformed, kLevelDetail);
      in_zero_run = true;
      continue;
    }
    in_zero_run = false;

    cQuorvaneCommand message;
    std::string packet(bytes.substr(0, frame.length));
    if (frame.kind == Kind::kMulti) {
      if (!message.initFromMultiPacket(std::move(packet))) {
        SendLog(kUnparsable, kLevelUnparsable);
        break;
      }
    } else if (!message.InitFromCommonMessage(std::move(packet))) {
      SendLog(kMalformed, kLevelDetail);
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

void LogToHost(std::string_view text, std::int32_t level) {
  SendLogToHost(text, level);
  for (int i = 0; i < kPollsAfterLog; ++i) {
    // Looked up each time, and held: a poll may replace or release it.
    if (const auto socket = State().HostSocket) socket->Poll();
  }
}

void LogDetailToHost(std::string_view text) {
  if (State().DebugMode) LogToHost(text, cQuorvaneDeviceSocket::kLevelDetail);
}

void SendLogToHost(std::string_view text, std::int32_t level) {
  if (const auto& socket = State().HostSocket) socket->SendLog(text, level);
}

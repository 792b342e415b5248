#include "host/framing.h"

#include "message/packet_layout.h"
#include "platform/text.h"

namespace {

using Kind = Frame::Kind;

// The kinds at which framing resumes after a zero length. Log packets are not among them: every plain packet with the
// default interface type and unit class contains "LX", which would be a log packet of 88 bytes.
constexpr std::string_view kResumeKinds = "jxymn";

std::size_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<unsigned char>(bytes[offset]);
}

bool StartsMulti(std::string_view bytes) {
  return platform::ToLower(bytes[0]) == layout::kMultiKind;
}

Frame MultiFrame(std::string_view bytes) {
  const std::size_t length = ByteAt(bytes, layout::kMultiLength) + 256 * ByteAt(bytes, layout::kMultiLength + 1);
  if (length == 0) return {Kind::kZeroLength};
  return {length > bytes.size() ? Kind::kMultiIncomplete : Kind::kMulti, length};
}

Frame PlainFrame(std::string_view bytes) {
  if (bytes.size() < layout::kHeaderSize) return {Kind::kIncomplete};
  const std::size_t length = ByteAt(bytes, layout::kLength);
  // A "J" with a zero may be a multipacket whose length is a multiple of 256.
  if (length == 0) return {StartsMulti(bytes) ? Kind::kIncomplete : Kind::kZeroLength};
  if (length > bytes.size()) return {Kind::kIncomplete, length};
  return {StartsMulti(bytes) ? Kind::kPlainUnlessMore : Kind::kPlain, length};
}

bool StartsWithCompletePacket(std::string_view bytes) {
  if (kResumeKinds.find(platform::ToLower(bytes[0])) == std::string_view::npos) return false;
  const Kind kind = FrontFrame(bytes).kind;
  return kind == Kind::kMulti || kind == Kind::kPlain;
}

}  // namespace

Frame FrontFrame(std::string_view bytes) {
  const bool is_multi = StartsMulti(bytes) && bytes.size() > layout::kMultiHeaderSize;
  return is_multi ? MultiFrame(bytes) : PlainFrame(bytes);
}

std::size_t NextCompletePacket(std::string_view bytes) {
  for (std::size_t offset = 1; offset < bytes.size(); ++offset) {
    if (StartsWithCompletePacket(bytes.substr(offset))) return offset;
  }
  return bytes.size();
}

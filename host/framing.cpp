#include "host/framing.h"

#include "message/packet_layout.h"
#include "platform/text.h"

namespace {

using Kind = Frame::Kind;

// The kinds at which framing resumes after a zero length, in addition to multipackets. Log packets are not among them:
// an "L" and a plausible length also occur inside other packets.
constexpr std::string_view kResumeKinds = "xymn";

std::size_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<unsigned char>(bytes[offset]);
}

bool StartsMulti(std::string_view bytes) {
  return platform::ToLower(bytes[0]) == layout::kMultiKind;
}

bool StartsWithWholePacket(std::string_view bytes) {
  if (!StartsMulti(bytes) && kResumeKinds.find(platform::ToLower(bytes[0])) == std::string_view::npos) return false;
  const Kind kind = FrontFrame(bytes).kind;
  return kind == Kind::kMulti || (kind == Kind::kPlain && !StartsMulti(bytes));
}

}  // namespace

Frame FrontFrame(std::string_view bytes) {
  const bool starts_multi = StartsMulti(bytes);
  if (starts_multi && bytes.size() > layout::kMultiHeaderSize) {
    const std::size_t length = ByteAt(bytes, layout::kMultiLength) + 256 * ByteAt(bytes, layout::kMultiLength + 1);
    if (length == 0) return {Kind::kZeroLength};
    if (length > bytes.size()) return {Kind::kMultiIncomplete, length, true};
    return {Kind::kMulti, length};
  }
  // Up to four bytes are a plain packet, unless more bytes of a multipacket follow.
  if (bytes.size() < layout::kHeaderSize) return {Kind::kIncomplete, layout::kHeaderSize, starts_multi};
  const std::size_t length = ByteAt(bytes, layout::kLength);
  if (length == 0 && !starts_multi) return {Kind::kZeroLength};
  // A "J" with a zero may be a multipacket whose length is a multiple of 256.
  if (length == 0) return {Kind::kIncomplete, layout::kMultiHeaderSize + 1, true};
  return {length > bytes.size() ? Kind::kIncomplete : Kind::kPlain, length, starts_multi};
}

std::size_t NextWholePacket(std::string_view bytes) {
  for (std::size_t offset = 1; offset < bytes.size(); ++offset) {
    if (StartsWithWholePacket(bytes.substr(offset))) return offset;
  }
  return bytes.size();
}

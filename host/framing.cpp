#include "host/framing.h"

#include "platform/text.h"

namespace {

constexpr std::size_t kMultiHeadSize = 4;
constexpr std::size_t kPlainHeadSize = 2;

std::size_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<unsigned char>(bytes[offset]);
}

}  // namespace

Frame FrontFrame(std::string_view bytes) {
  using Kind = Frame::Kind;
  const bool starts_multi = platform::ToLower(bytes[0]) == 'j';
  if (starts_multi && bytes.size() > kMultiHeadSize) {
    const std::size_t length = ByteAt(bytes, 1) + 256 * ByteAt(bytes, 2);
    if (length == 0) return {Kind::kZeroLength, kMultiHeadSize};
    if (length > bytes.size()) return {Kind::kMultiIncomplete, length, length - bytes.size()};
    return {Kind::kMulti, length};
  }
  // So few bytes are a plain packet, unless the next one comes with them.
  const std::size_t missing = starts_multi ? kMultiHeadSize + 1 - bytes.size() : 0;
  if (bytes.size() < kPlainHeadSize) return {Kind::kPlainIncomplete, kPlainHeadSize, missing};
  const std::size_t length = ByteAt(bytes, 1);
  if (length == 0) {
    // With more to come it may be a multipacket whose length is a multiple of 256.
    return starts_multi ? Frame{Kind::kPlainIncomplete, kMultiHeadSize + 1, missing}
                        : Frame{Kind::kZeroLength, kPlainHeadSize};
  }
  return {length > bytes.size() ? Kind::kPlainIncomplete : Kind::kPlain, length, missing};
}

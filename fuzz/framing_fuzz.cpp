// Splits a host stream into packets, in memory. Frames each packet twice: first from a prefix, whose length depends on
// the input's first byte, then from all bytes. A final result must not change, and framing must always make progress.

#include <cstdint>
#include <string_view>

#include "fuzz/require.h"
#include "host/framing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Kind = Frame::Kind;
  if (size < 2) return 0;
  std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  while (!rest.empty()) {
    const Frame early = FrontFrame(rest.substr(0, 1 + data[0]));
    const Frame frame = FrontFrame(rest);
    const bool is_final = early.kind == Kind::kPlain || early.kind == Kind::kMulti || early.kind == Kind::kZeroLength;
    if (is_final) Require(early.kind == frame.kind && early.length == frame.length);
    if (frame.kind == Kind::kZeroLength) {
      const std::size_t next = NextCompletePacket(rest);
      Require(next > 0 && next <= rest.size());
      rest.remove_prefix(next);
      Require(rest.empty() || FrontFrame(rest).kind == Kind::kPlain || FrontFrame(rest).kind == Kind::kMulti);
      continue;
    }
    if (frame.kind == Kind::kIncomplete || frame.kind == Kind::kMultiIncomplete) {
      Require(frame.length == 0 || frame.length > rest.size());
      return 0;
    }
    Require(frame.length > 0 && frame.length <= rest.size());
    rest.remove_prefix(frame.length);
  }
  return 0;
}

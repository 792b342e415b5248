// Splits a host stream into packets, in memory. The first byte says how much of each packet is present at a first look:
// a result that is final then must not change when the rest arrives, and framing must always make progress.

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
    const bool settled = early.kind != Kind::kIncomplete && early.kind != Kind::kMultiIncomplete;
    if (settled && !early.open) Require(early.kind == frame.kind && early.length == frame.length);
    Require(frame.kind != Kind::kMulti || !frame.open);
    Require(frame.kind != Kind::kMultiIncomplete || frame.open);
    if (frame.kind == Kind::kZeroLength) {
      const std::size_t next = NextWholePacket(rest);
      Require(next > 0 && next <= rest.size());
      rest.remove_prefix(next);
      Require(rest.empty() || FrontFrame(rest).kind == Kind::kPlain || FrontFrame(rest).kind == Kind::kMulti);
      continue;
    }
    Require(frame.length > 0);
    if (frame.kind == Kind::kIncomplete || frame.kind == Kind::kMultiIncomplete) {
      Require(frame.length > rest.size());
      return 0;
    }
    Require(frame.length <= rest.size());
    rest.remove_prefix(frame.length);
  }
  return 0;
}

// Splits the host's stream into packets. Pure functions of the received bytes.

#pragma once

#include <cstddef>
#include <string_view>

struct Frame {
  enum class Kind {
    kPlain,            // a complete packet that is not a multipacket
    kPlainUnlessMore,  // the same, but more bytes would make it a multipacket
    kMulti,            // a complete multipacket
    kIncomplete,       // wait for more bytes
    kMultiIncomplete,  // wait for more bytes, and report this to the host
    kZeroLength,       // invalid: the length in the header is 0
  };
  Kind kind = Kind::kIncomplete;
  std::size_t length = 0;  // of the packet in bytes, from its header; 0 if it is invalid or not known yet
};

// Returns the packet at the front of `bytes`, which must not be empty.
Frame FrontFrame(std::string_view bytes);

// Returns where framing continues after a zero length at the front: the next offset at which a complete multipacket,
// "X", "Y", "M" or "N" packet begins, or the end of `bytes`. Takes linear time.
std::size_t NextCompletePacket(std::string_view bytes);

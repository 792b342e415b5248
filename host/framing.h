// Cuts the host's stream into packets. Pure functions of the received bytes.

#ifndef HOST_FRAMING_H_
#define HOST_FRAMING_H_

#include <cstddef>
#include <string_view>

struct Frame {
  enum class Kind {
    kPlain,            // a whole plain, log or error packet
    kMulti,            // a whole multipacket
    kIncomplete,       // wait for more bytes
    kMultiIncomplete,  // wait for more bytes, and report it to the host
    kZeroLength,       // no packet: its header has a length of 0
  };
  Kind kind = Kind::kIncomplete;
  std::size_t length = 0;   // of the packet in bytes, as its header says
  std::size_t missing = 0;  // bytes that would complete a multipacket, or tell whether it is one; else 0
};

// The packet at the front of `bytes`, of which there must be at least one.
Frame FrontFrame(std::string_view bytes);

// Where framing goes on after a zero length at the front: the next offset at which a whole packet of a kind that is
// acted on begins, or the end of `bytes`. Takes linear time.
std::size_t NextWholePacket(std::string_view bytes);

#endif  // HOST_FRAMING_H_

// Cuts the host's stream into packets: what the front of the received bytes holds. Pure functions of bytes.

#ifndef HOST_FRAMING_H_
#define HOST_FRAMING_H_

#include <cstddef>
#include <string_view>

struct Frame {
  enum class Kind {
    kPlain,            // a whole plain, log or error packet
    kMulti,            // a whole multipacket
    kPlainIncomplete,  // wait for more
    kMultiIncomplete,  // wait for more, and tell the host so
    kZeroLength,       // a head that names no byte; to be dropped with one complaint for a run of them
  };
  Kind kind = Kind::kPlainIncomplete;
  std::size_t length = 0;   // bytes of the packet, as its head says; of a zero length's head alone
  std::size_t missing = 0;  // bytes that would settle what a multipacket is; 0 for every other kind
};

// What `bytes` begin with; there must be at least one. Bytes past the frame's length belong to what follows.
Frame FrontFrame(std::string_view bytes);

#endif  // HOST_FRAMING_H_

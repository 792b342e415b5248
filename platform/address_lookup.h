// Resolves a host name or numeric address and a port to socket addresses. A name is looked up on a thread of its own,
// since the system's resolver can block for many seconds.

#ifndef PLATFORM_ADDRESS_LOOKUP_H_
#define PLATFORM_ADDRESS_LOOKUP_H_

#include <cstdint>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "platform/descriptor.h"

namespace platform {

// The bytes of a socket address, with its family.
struct SocketAddress {
  int family;
  std::string bytes;
};

struct AddressList {
  std::vector<SocketAddress> addresses;  // in the order in which they should be tried
  std::int32_t error = 0;                // an errno value when there are none
};

class AddressLookup {
 public:
  // The address of a numeric `host`, or the error of a port outside 0 to 65535; nothing for a name.
  static std::optional<AddressList> Numeric(const std::string& host, std::int32_t port);

  // Starts to look a name up. Destroying the object abandons the look-up without waiting for it.
  AddressLookup(const std::string& host, std::int32_t port);

  // Readable when the look-up is done; -1 when it failed to start, and is done already.
  int DescriptorNumber() const { return done_.Number(); }

  // The result, once; waits for it if it is not there yet.
  AddressList Take() { return result_.get(); }

 private:
  std::future<AddressList> result_;
  Descriptor done_;
};

}  // namespace platform

#endif  // PLATFORM_ADDRESS_LOOKUP_H_

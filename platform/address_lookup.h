// Resolves a host name or numeric address and a port to socket addresses. Looks up names on a separate thread, because
// the system's resolver can block for many seconds.

#pragma once

#include <chrono>
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
  std::vector<SocketAddress> addresses;  // in the order in which to try them
  std::int32_t error = 0;                // an errno value if there are none
};

class AddressLookup {
 public:
  // Returns the address of a numeric `host`, or the error for a port outside 0 to 65535; nullopt for a name.
  static std::optional<AddressList> Numeric(const std::string& host, std::int32_t port);

  // Starts to look up a name. Destroying the object abandons the lookup without waiting for it.
  AddressLookup(const std::string& host, std::int32_t port);

  // Returns a descriptor that becomes readable when the lookup is done. It is not open if no thread was started because
  // no pipe could be created; the lookup is then already done.
  const Descriptor& Done() const { return done_; }

  bool IsDone() const { return result_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }

  // Returns the result, after waiting for it if necessary. Call only once.
  AddressList Take() { return result_.get(); }

 private:
  std::future<AddressList> result_;
  Descriptor done_;
};

}  // namespace platform

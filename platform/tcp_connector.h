// Opens a TCP connection to a host name or a numeric address.
//
// Looks up names on another thread. Tries a name's addresses as RFC 8305 describes: alternates between the address
// families, and starts each attempt kAttemptDelay after the previous one, or as soon as one fails. Earlier attempts
// continue, and the first to connect wins. A socket connected to itself counts as refused.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/address_lookup.h"
#include "platform/descriptor.h"
#include "platform/event_source.h"

namespace platform {

class TcpConnector {
 public:
  static constexpr std::chrono::milliseconds kAttemptDelay{250};

  // TCP keep-alive: idle time before the first probe, interval between probes, unanswered probes before failure.
  struct KeepAlive {
    std::chrono::seconds idle;
    std::chrono::seconds interval;
    int probes;
  };

  struct Result {
    Descriptor socket;       // connected and non-blocking; not open on failure
    std::int32_t error = 0;  // if not open, the errno value of the last failed attempt
  };

  // Starts to connect. Without `keep_alive`, the system's default times apply.
  TcpConnector(const std::string& host, std::int32_t port, const std::optional<KeepAlive>& keep_alive);

  // Returns what to wait for before the next Advance.
  Interest PrepareToWait() const;

  // Continues without waiting. Returns the result once there is one; do not use the connector after that.
  std::optional<Result> Advance();

 private:
  void StartAttempts(AddressList found);
  void StartNextAttempt();
  Descriptor OpenSocket(int family) const;

  std::optional<KeepAlive> keep_alive_;
  std::optional<AddressLookup> lookup_;
  std::vector<SocketAddress> addresses_;
  std::int32_t error_ = 0;  // of the lookup or of the last failed attempt
  std::size_t next_address_ = 0;
  std::vector<Descriptor> attempts_;         // sockets with a connect in progress
  std::chrono::nanoseconds next_attempt_{};  // when to start the next one, unless one fails earlier
};

}  // namespace platform

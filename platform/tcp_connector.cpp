#include "platform/tcp_connector.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/clock.h"

// macOS has another name for the idle time before the first probe.
#ifndef TCP_KEEPIDLE
#define TCP_KEEPIDLE TCP_KEEPALIVE
#endif

namespace platform {
namespace {

void SetOption(const Descriptor& socket, int level, int name, int value) {
  setsockopt(socket.Number(), level, name, &value, sizeof value);
}

bool StartConnecting(const Descriptor& socket, const SocketAddress& address) {
  const auto* bytes = reinterpret_cast<const sockaddr*>(address.bytes.data());
  if (connect(socket.Number(), bytes, static_cast<socklen_t>(address.bytes.size())) == 0) return true;
  // An interrupted connect also continues in the background.
  return errno == EINPROGRESS || errno == EINTR;
}

// Whether a connection attempt has succeeded or failed.
bool HasFinished(const Descriptor& attempt) {
  pollfd waiting{attempt.Number(), POLLOUT, 0};
  return poll(&waiting, 1, 0) > 0;
}

// Whether the socket is connected to itself, which can happen with an unused port in the ephemeral range.
bool IsOwnPeer(const Descriptor& connected) {
  sockaddr_storage own{};
  sockaddr_storage peer{};
  socklen_t own_size = sizeof own;
  socklen_t peer_size = sizeof peer;
  return getsockname(connected.Number(), reinterpret_cast<sockaddr*>(&own), &own_size) == 0 &&
         getpeername(connected.Number(), reinterpret_cast<sockaddr*>(&peer), &peer_size) == 0 &&
         own_size == peer_size && std::memcmp(&own, &peer, own_size) == 0;
}

// Returns 0 for a usable connection, else the errno value of the failure.
std::int32_t ConnectError(const Descriptor& attempt) {
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(attempt.Number(), SOL_SOCKET, SO_ERROR, &error, &size);
  // If the peer sent data before it reset the connection, the connection succeeded: the data can still be read.
  int waiting = 0;
  if (error != 0 && ioctl(attempt.Number(), FIONREAD, &waiting) == 0 && waiting > 0) return 0;
  if (error == 0 && IsOwnPeer(attempt)) return ECONNREFUSED;
  return error;
}

// Interleaves the address families, starting with the preferred one (RFC 8305, section 4).
void Interleave(std::vector<SocketAddress>& addresses) {
  for (std::size_t i = 1; i < addresses.size(); ++i) {
    const auto next = addresses.begin() + static_cast<std::ptrdiff_t>(i);
    const int family_before = addresses[i - 1].family;
    const auto other = std::find_if(next, addresses.end(), [family_before](const SocketAddress& address) {
      return address.family != family_before;
    });
    if (other == addresses.end()) return;
    std::rotate(next, other, other + 1);
  }
}

}  // namespace

TcpConnector::TcpConnector(const std::string& host, std::int32_t port, const std::optional<KeepAlive>& keep_alive)
    : keep_alive_(keep_alive) {
  if (auto addresses = AddressLookup::Numeric(host, port)) {
    StartAttempts(std::move(*addresses));
  } else {
    lookup_.emplace(host, port);
  }
}

Interest TcpConnector::PrepareToWait() const {
  if (lookup_) {
    const Descriptor& done = lookup_->Done();
    return {.descriptors = {&done, 1},
            .read = done.IsOpen(),
            .deadline = done.IsOpen() ? Interest::kNever : Interest::kNow};
  }
  if (attempts_.empty()) return {.deadline = Interest::kNow};
  const bool more_to_try = next_address_ < addresses_.size();
  return {.descriptors = attempts_, .write = true, .deadline = more_to_try ? next_attempt_ : Interest::kNever};
}

std::optional<TcpConnector::Result> TcpConnector::Advance() {
  if (lookup_) {
    if (!lookup_->IsDone()) return std::nullopt;
    AddressList found = lookup_->Take();
    lookup_.reset();
    StartAttempts(std::move(found));
  } else {
    const std::size_t in_flight = attempts_.size();
    for (auto attempt = std::ranges::find_if(attempts_, HasFinished); attempt != attempts_.end();
         attempt = std::ranges::find_if(attempts_, HasFinished)) {
      const std::int32_t error = ConnectError(*attempt);
      if (error == 0) return Result{std::move(*attempt)};
      error_ = error;
      attempts_.erase(attempt);
    }
    if (attempts_.size() < in_flight || MonotonicNow() >= next_attempt_) StartNextAttempt();
  }
  if (attempts_.empty()) return Result{{}, error_};
  return std::nullopt;
}

void TcpConnector::StartAttempts(AddressList found) {
  addresses_ = std::move(found.addresses);
  error_ = found.error;
  Interleave(addresses_);
  StartNextAttempt();
}

// Starts an attempt to connect to the next address, skipping addresses for which no attempt can be started.
void TcpConnector::StartNextAttempt() {
  while (next_address_ < addresses_.size()) {
    const SocketAddress& address = addresses_[next_address_++];
    Descriptor socket = OpenSocket(address.family);
    if (socket.IsOpen() && StartConnecting(socket, address)) {
      attempts_.push_back(std::move(socket));
      next_attempt_ = MonotonicNow() + kAttemptDelay;
      return;
    }
    error_ = errno;
  }
}

Descriptor TcpConnector::OpenSocket(int family) const {
  Descriptor socket(::socket(family, SOCK_STREAM, 0));
  if (!socket.IsOpen()) return socket;
  socket.SetNonBlocking();
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
  if (keep_alive_) {
    SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(keep_alive_->idle.count()));
    SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, static_cast<int>(keep_alive_->interval.count()));
    SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, keep_alive_->probes);
  }
  return socket;
}

}  // namespace platform

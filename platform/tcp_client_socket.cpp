#include "platform/tcp_client_socket.h"

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

namespace platform {
namespace {

void SetOption(const Descriptor& socket, int level, int name, int value) {
  setsockopt(socket.Number(), level, name, &value, sizeof value);
}

bool StartConnecting(const Descriptor& socket, const SocketAddress& address) {
  const auto* where = reinterpret_cast<const sockaddr*>(address.bytes.data());
  if (connect(socket.Number(), where, static_cast<socklen_t>(address.bytes.size())) == 0) return true;
  // An interrupted connect goes on in the background, too.
  return errno == EINPROGRESS || errno == EINTR;
}

// Whether an attempt has come to an end, good or bad.
bool IsDecided(const Descriptor& attempt) {
  pollfd waiting{attempt.Number(), POLLOUT, 0};
  return poll(&waiting, 1, 0) > 0;
}

// The kernel makes a connection to itself when nothing listens on a port from which it also takes callers' ports.
bool IsOwnPeer(const Descriptor& connected) {
  sockaddr_storage own{};
  sockaddr_storage peer{};
  socklen_t own_size = sizeof own;
  socklen_t peer_size = sizeof peer;
  return getsockname(connected.Number(), reinterpret_cast<sockaddr*>(&own), &own_size) == 0 &&
         getpeername(connected.Number(), reinterpret_cast<sockaddr*>(&peer), &peer_size) == 0 &&
         own_size == peer_size && std::memcmp(&own, &peer, own_size) == 0;
}

// 0 for a connection that can be used, else why there is none.
std::int32_t Outcome(const Descriptor& attempt) {
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(attempt.Number(), SOL_SOCKET, SO_ERROR, &error, &size);
  // A peer that sent something and then broke the connection has connected: what it sent is still there to be read.
  int waiting = 0;
  if (error != 0 && ioctl(attempt.Number(), FIONREAD, &waiting) == 0 && waiting > 0) return 0;
  if (error == 0 && IsOwnPeer(attempt)) return ECONNREFUSED;
  return error;
}

// Puts the address families in turn, beginning with the one that the resolver prefers: where one family leads
// nowhere, the other is not kept waiting.
void Interleave(std::vector<SocketAddress>& addresses) {
  for (std::size_t i = 1; i < addresses.size(); ++i) {
    const auto place = addresses.begin() + static_cast<std::ptrdiff_t>(i);
    const int family_before = addresses[i - 1].family;
    const auto other = std::find_if(place, addresses.end(), [family_before](const SocketAddress& address) {
      return address.family != family_before;
    });
    if (other == addresses.end()) return;
    std::rotate(place, other, other + 1);
  }
}

}  // namespace

void TcpClientSocket::Connect() {
  Close();
  if (auto addresses = AddressLookup::Numeric(Address, Port)) {
    StartAttempts(std::move(*addresses));
  } else {
    lookup_ = std::make_unique<AddressLookup>(Address, Port);
    phase_ = Phase::kResolving;
  }
}

void TcpClientSocket::Close() {
  CloseStream();
  lookup_.reset();
  untried_ = {};
  attempts_.clear();
  output_.Clear();
  phase_ = Phase::kIdle;
}

void TcpClientSocket::Write(std::string_view bytes) {
  const bool connecting = phase_ == Phase::kResolving || phase_ == Phase::kConnecting;
  if (!connecting && !TakesOutput()) return;
  if (bytes.size() > kOutputLimit - output_.Size()) {
    GiveUp(ENOBUFS);
    return;
  }
  output_.Append(bytes);
}

Interest TcpClientSocket::PrepareToWait() {
  switch (phase_) {
    case Phase::kResolving:
      return {.descriptor = lookup_->DescriptorNumber(), .read = true, .pending = lookup_->DescriptorNumber() < 0};
    case Phase::kConnecting:
      return {.connecting = attempts_,
              .due = next_address_ < untried_.addresses.size() ? next_attempt_due_ : Interest::kNever};
    case Phase::kIdle:
    case Phase::kConnected:
      break;
  }
  return SendBeforeWait(output_);
}

void TcpClientSocket::HandleReady() {
  switch (phase_) {
    case Phase::kResolving:
      StartAttempts(std::exchange(lookup_, nullptr)->Take());
      return;
    case Phase::kConnecting:
      AdvanceAttempts();
      return;
    case Phase::kIdle:
    case Phase::kConnected:
      HandleInput();
  }
}

void TcpClientSocket::StartAttempts(AddressList addresses) {
  phase_ = Phase::kConnecting;
  untried_ = std::move(addresses);
  next_address_ = 0;
  Interleave(untried_.addresses);
  StartNextAttempt();
}

// Starts one more attempt if an address is left for it, and gives up when none is left and none is in flight.
void TcpClientSocket::StartNextAttempt() {
  while (next_address_ < untried_.addresses.size()) {
    const SocketAddress& address = untried_.addresses[next_address_++];
    Descriptor socket = OpenSocket(address.family);
    if (socket.IsOpen() && StartConnecting(socket, address)) {
      attempts_.push_back(std::move(socket));
      next_attempt_due_ = MonotonicNow() + kAttemptDelay;
      return;
    }
    untried_.error = errno;
  }
  if (attempts_.empty()) GiveUp(untried_.error);
}

Descriptor TcpClientSocket::OpenSocket(int family) const {
  Descriptor socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket.IsOpen()) return socket;
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
#ifdef TCP_KEEPIDLE
  if (keep_alive_) {
    SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(keep_alive_->idle.count()));
    SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, static_cast<int>(keep_alive_->interval.count()));
    SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, keep_alive_->probes);
  }
#endif
  return socket;
}

// Takes an attempt that has come to an end out of those in flight. Returns whether there was one.
bool TcpClientSocket::FinishOneAttempt() {
  const auto decided = std::ranges::find_if(attempts_, IsDecided);
  if (decided == attempts_.end()) return false;
  Descriptor attempt = std::move(*decided);
  attempts_.erase(decided);
  if (const std::int32_t error = Outcome(attempt); error != 0) {
    untried_.error = error;
    return true;
  }
  phase_ = Phase::kConnected;
  untried_ = {};
  attempts_.clear();
  Use(std::move(attempt));
  return true;
}

void TcpClientSocket::AdvanceAttempts() {
  bool one_failed = false;
  while (phase_ == Phase::kConnecting && FinishOneAttempt()) one_failed = true;
  if (phase_ == Phase::kConnected) {
    Event_Connected();
  } else if (one_failed || MonotonicNow() >= next_attempt_due_) {
    StartNextAttempt();
  }
}

void TcpClientSocket::GiveUp(std::int32_t error) {
  lookup_.reset();
  attempts_.clear();
  output_.Clear();
  phase_ = Phase::kIdle;
  FailLater(error);
}

}  // namespace platform

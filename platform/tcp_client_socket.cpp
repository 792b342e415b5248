#include "platform/tcp_client_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace platform {
namespace {

Descriptor OpenSocket(int family) {
  Descriptor socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket.IsOpen()) return socket;
  const int on = 1;
  setsockopt(socket.Number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  setsockopt(socket.Number(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  return socket;
}

bool StartConnecting(const Descriptor& socket, const SocketAddress& address) {
  const auto* where = reinterpret_cast<const sockaddr*>(address.bytes.data());
  if (connect(socket.Number(), where, static_cast<socklen_t>(address.bytes.size())) == 0) return true;
  // An interrupted connect goes on in the background, too.
  return errno == EINPROGRESS || errno == EINTR;
}

}  // namespace

void TcpClientSocket::Connect() {
  Close();
  if (auto addresses = AddressLookup::Numeric(Address, Port)) {
    untried_ = std::move(*addresses);
    TryNextAddress();
  } else {
    lookup_ = std::make_unique<AddressLookup>(Address, Port);
    phase_ = Phase::kResolving;
  }
}

void TcpClientSocket::Close() {
  CloseStream();
  lookup_.reset();
  untried_ = {};
  next_address_ = 0;
  output_.Clear();
  phase_ = Phase::kIdle;
}

void TcpClientSocket::Write(std::string_view bytes) {
  const bool connecting = phase_ == Phase::kResolving || phase_ == Phase::kConnecting;
  if (!connecting && !TakesOutput()) return;
  if (bytes.size() > kOutputLimit - output_.Size()) {
    output_.Clear();
    lookup_.reset();
    phase_ = Phase::kIdle;
    FailLater(ENOBUFS);
    return;
  }
  output_.Append(bytes);
}

EventSource::Interest TcpClientSocket::PrepareToWait() {
  switch (phase_) {
    case Phase::kResolving:
      return {.descriptor = lookup_->DescriptorNumber(), .read = true, .pending = lookup_->DescriptorNumber() < 0};
    case Phase::kConnecting:
      return {.descriptor = DescriptorNumber(), .write = true};
    case Phase::kIdle:
    case Phase::kConnected:
      break;
  }
  return SendBeforeWait(output_);
}

void TcpClientSocket::HandleReady() {
  switch (phase_) {
    case Phase::kResolving:
      untried_ = lookup_->Take();
      lookup_.reset();
      TryNextAddress();
      return;
    case Phase::kConnecting:
      FinishConnecting();
      return;
    case Phase::kIdle:
    case Phase::kConnected:
      HandleInput();
  }
}

void TcpClientSocket::TryNextAddress() {
  phase_ = Phase::kConnecting;
  while (next_address_ < untried_.addresses.size()) {
    const SocketAddress& address = untried_.addresses[next_address_++];
    Descriptor socket = OpenSocket(address.family);
    if (socket.IsOpen() && StartConnecting(socket, address)) {
      Use(std::move(socket));
      return;
    }
    untried_.error = errno;
  }
  output_.Clear();
  phase_ = Phase::kIdle;
  FailLater(untried_.error);
}

void TcpClientSocket::FinishConnecting() {
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(DescriptorNumber(), SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) {
    untried_.error = error;
    TryNextAddress();
    return;
  }
  phase_ = Phase::kConnected;
  untried_ = {};
  Event_Connected();
}

}  // namespace platform

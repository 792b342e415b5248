#include "peers/listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "platform/address_lookup.h"

Listener::Listener(const std::string& address, int backlog, std::int32_t port) {
  const auto list = platform::AddressLookup::Numeric(address, port);
  if (!list || list->addresses.empty()) throw std::system_error(EADDRNOTAVAIL, std::generic_category(), address);
  const platform::SocketAddress& where = list->addresses.front();
  listening_ = platform::Descriptor(socket(where.family, SOCK_STREAM, 0));
  listening_.SetNonBlocking();
  // Allow a fixed port to be reused while connections of the last run are in TIME_WAIT.
  const int on = 1;
  if (port != 0) setsockopt(listening_.Number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listening_.Number(), reinterpret_cast<const sockaddr*>(where.bytes.data()),
           static_cast<socklen_t>(where.bytes.size())) != 0 ||
      listen(listening_.Number(), backlog) != 0) {
    throw std::system_error(errno, std::generic_category(),
                            "listening on " + address + ", port " + std::to_string(port));
  }
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  getsockname(listening_.Number(), reinterpret_cast<sockaddr*>(&bound), &size);
  port_ = ntohs(where.family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(bound).sin6_port
                                         : reinterpret_cast<const sockaddr_in&>(bound).sin_port);
}

void Listener::HandleReady() {
  platform::Descriptor accepted(accept(listening_.Number(), nullptr, nullptr));
  if (!accepted.IsOpen()) return;
  accepted.SetNonBlocking();
  const int on = 1;
  setsockopt(accepted.Number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  peer_ = std::make_unique<Channel>(std::move(accepted));
  if (OnAccept) OnAccept();
}

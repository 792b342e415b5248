#include "tests/refusing_port.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

RefusingPort::RefusingPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(socket_.Number(), reinterpret_cast<const sockaddr*>(&address), size) != 0) {
    throw std::system_error(errno, std::generic_category(), "taking a port");
  }
  getsockname(socket_.Number(), reinterpret_cast<sockaddr*>(&address), &size);
  number_ = ntohs(address.sin_port);
}

void RefusingPort::Listen() const {
  listen(socket_.Number(), 1);
}

int RefusingPort::Accept() const {
  return accept(socket_.Number(), nullptr, nullptr);
}

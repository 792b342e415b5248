#include "platform/address_lookup.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace platform {
namespace {

// Adds the addresses of a name or numeric address to the list; returns whether there are any.
bool Resolve(const std::string& host, std::int32_t port, int flags, AddressList& list) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV | flags;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
    list.error = EHOSTUNREACH;
    return false;
  }
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    const auto* bytes = reinterpret_cast<const char*>(entry->ai_addr);
    list.addresses.push_back({entry->ai_family, std::string(bytes, entry->ai_addrlen)});
  }
  freeaddrinfo(found);
  return true;
}

// Blocks all signals while the thread is created, so that it inherits the mask: SIGALRM must reach the main thread.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

std::optional<AddressList> AddressLookup::Numeric(const std::string& host, std::int32_t port) {
  constexpr std::int32_t kMaxPort = 65535;
  AddressList list;
  if (port < 0 || port > kMaxPort) {
    list.error = EADDRNOTAVAIL;
    return list;
  }
  if (!Resolve(host, port, AI_NUMERICHOST, list)) return std::nullopt;
  return list;
}

AddressLookup::AddressLookup(const std::string& host, std::int32_t port) {
  const auto promise = std::make_shared<std::promise<AddressList>>();
  result_ = promise->get_future();
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    promise->set_value({{}, errno});
    return;
  }
  done_ = Descriptor(ends[0]);
  // The end of the thread closes the pipe.
  auto work = [promise, host, port, write_end = Descriptor(ends[1])] {
    AddressList list;
    Resolve(host, port, 0, list);
    promise->set_value(std::move(list));
  };
  const SignalsBlocked blocked;
  try {
    std::thread(std::move(work)).detach();
  } catch (const std::system_error& failure) {
    promise->set_value({{}, failure.code().value()});
  }
}

}  // namespace platform

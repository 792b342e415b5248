// Connecting a TCP socket: names, several addresses, refusals and peers that do not answer.

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <sstream>
#include <thread>

#include "platform/clock.h"
#include "platform/descriptor.h"
#include "tests/stream_fixtures.h"
#include "tests/virtual_clock.h"

namespace {

const std::thread::id main_thread = std::this_thread::get_id();
std::atomic<bool> resolver_is_apart = false;  // whether it last ran on a separate thread with SIGALRM blocked
std::atomic<bool> resolver_may_answer = false;

}  // namespace

// Replaces the system's resolver. A test's host name is the list of its addresses, which the system's resolver parses.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system_resolver = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0) return system_resolver(name, service, hints, found);
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  resolver_is_apart = std::this_thread::get_id() != main_thread && sigismember(&blocked, SIGALRM) == 1;
  while (name == std::string_view("slow.test") && !resolver_may_answer) std::this_thread::yield();
  addrinfo numeric = *hints;
  numeric.ai_flags |= AI_NUMERICHOST;
  std::istringstream addresses(name);
  for (std::string address; addresses >> address; found = &(*found)->ai_next) {
    if (system_resolver(address.c_str(), service, &numeric, found) != 0) return EAI_NONAME;
  }
  return 0;
}

namespace platform {
namespace {

using testing::ElementsAre;

class Connecting : public TcpClientSocketTest {};

// A listener with a full queue: the kernel does not answer a client until `Answer` makes room, and then only at the
// client's next attempt, a second later.
class SilentListener : public Listener {
 public:
  SilentListener(const char* address, std::int32_t port) : Listener(address, 0, port) {
    Paused = true;
    for (auto& caller : callers_) {
      caller = std::make_unique<Client>(address, Port());
      caller->Connect();
    }
  }
  void Answer() {
    for (auto& caller : callers_) caller.reset();  // otherwise one of them would be accepted next
    Paused = false;
  }

 private:
  std::unique_ptr<Client> callers_[2];
};

TEST_F(Connecting, TriesNextAddressIfOneRefusesOrDoesNotAnswer) {
  const SilentListener silent("127.0.0.3", listener.Port());  // nothing listens at 127.0.0.2
  for (const std::string name : {"127.0.0.2 127.0.0.1", "127.0.0.3 127.0.0.1"}) {
    client->events.clear();
    client->Address = name;
    client->Connect();
    client->Write(name);
    EXPECT_TRUE(WaitFor([&] { return listener.Peer() != nullptr && listener.Peer()->Received == name; }));
    EXPECT_THAT(Events(1), ElementsAre("connected"));
    EXPECT_TRUE(resolver_is_apart);
  }
}

TEST_F(Connecting, EarlierAttemptCanStillWin) {
  std::vector<long> attempts;  // sockets with a connect in progress
  SilentListener slow("127.0.0.3", listener.Port());
  const SilentListener silent("127.0.0.4", listener.Port());
  client->Address = "127.0.0.3 127.0.0.4 ::1";
  Calls().hooks[kConnect] = [&](long socket, auto...) {
    attempts.push_back(socket);
    return std::nullopt;
  };
  Calls().hooks[kClose] = [&](long number, auto...) {
    std::erase(attempts, number);
    return std::nullopt;
  };
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([&] { return attempts.size() == 2; }));
  slow.Answer();
  EXPECT_TRUE(WaitFor([&] { return slow.Peer() != nullptr && slow.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
  EXPECT_THAT(attempts, ElementsAre(client->DescriptorNumber()));  // the other attempt was closed
}

TEST_F(Connecting, StartsAttemptsAQuarterSecondApart) {
  const SilentListener first("127.0.0.3", listener.Port());
  const SilentListener second("127.0.0.4", listener.Port());
  VirtualClock clock;
  // For each attempt, its address family and start time.
  std::vector<std::string> attempts;
  const auto start = MonotonicNow();
  Calls().hooks[kConnect] = [&](long, unsigned long, void* address) {
    const bool ipv6 = static_cast<const sockaddr*>(address)->sa_family == AF_INET6;
    const auto time = std::chrono::round<std::chrono::milliseconds>(MonotonicNow() - start);
    attempts.push_back((ipv6 ? "IPv6 " : "IPv4 ") + std::to_string(time.count()));
    return std::nullopt;
  };
  clock.may_pass = [&] { return !attempts.empty(); };  // not during the lookup
  client->Address = "127.0.0.3 127.0.0.4 ::1";
  client->Connect();
  EventPump::Instance().Run(std::chrono::milliseconds(1000));
  std::erase(attempts, "IPv6 250");  // only with IPv6, and refused at once; the next attempt follows at once
  EXPECT_THAT(attempts, ElementsAre("IPv4 0", "IPv4 250"));
  EXPECT_LT(Calls().counts[kPoll], 20);  // does not spin
}

TEST_F(Connecting, TreatsConnectionToItselfAsRefused) {
  client->Port = Listener().Port();
  Calls().hooks[kConnect] = [](long socket, unsigned long size, void* address) {
    bind(static_cast<int>(socket), static_cast<const sockaddr*>(address), static_cast<socklen_t>(size));
    return std::nullopt;
  };
  client->Connect();
  client->Write("not to ourselves");
  EXPECT_THAT(Events(1), ElementsAre(Error(ECONNREFUSED)));
}

TEST_F(Connecting, DeliversBytesSentBeforeImmediateReset) {
  client->Connect();
  EventPump::Instance().RunOnly(listener);
  ASSERT_NE(listener.Peer(), nullptr);
  ASSERT_EQ(send(listener.Peer()->Number(), "bytes", 5, 0), 5);
  listener.Peer()->Reset();
  EXPECT_THAT(Events(3), ElementsAre("connected", "data bytes", Error(ECONNRESET)));
}

TEST_F(Connecting, SlowResolverDoesNotBlock) {
  Channel& peer = Connected();
  Listener other_listener;
  Client reconnecting("127.0.0.1", other_listener.Port());
  reconnecting.Connect();
  ASSERT_TRUE(WaitFor([&] { return reconnecting.IsConnected() && other_listener.Peer() != nullptr; }));
  reconnecting.Address = "slow.test";
  client->then = [&](const std::string& /*event*/) { reconnecting.Connect(); };
  for (const int sender : {peer.Number(), other_listener.Peer()->Number()}) ASSERT_EQ(send(sender, "go", 2, 0), 2);
  EventPump::Instance().Run(std::chrono::milliseconds(0));  // both are ready, but one reconnects the other
  EXPECT_THAT(reconnecting.events, ElementsAre("connected"));

  client = std::make_unique<Client>("slow.test", 1);
  const int lowest_free = Descriptor(dup(STDOUT_FILENO)).Number();
  client->Connect();
  EXPECT_THAT(Events(0), testing::IsEmpty());
  client->Close();  // abandons the first lookup; the reset below abandons the second
  EXPECT_EQ(Descriptor(dup(STDOUT_FILENO)).Number(), lowest_free);
  client->Connect();
  client.reset();
  resolver_may_answer = true;
}

TEST_F(Connecting, ReportsFailureAsOneEventAfterConnect) {
  const struct {
    const char* address;
    std::int32_t port;
    std::int32_t error;
  } cases[] = {{"127.0.0.1", Listener().Port(), ECONNREFUSED},
               {"::1", -1, EADDRNOTAVAIL},
               {"127.0.0.1", 70000, EADDRNOTAVAIL},
               {"no-such-host.test", 80, EHOSTUNREACH}};
  for (const auto& c : cases) {
    client->events.clear();
    client->Address = c.address;
    client->Port = c.port;
    client->Connect();
    EXPECT_TRUE(client->events.empty());
    EXPECT_THAT(Events(1), ElementsAre(Error(c.error))) << c.address;
  }
  client->Address = "127.0.0.1";
  client->Port = listener.Port();
  Connected();  // a failed socket can be used again
}

}  // namespace
}  // namespace platform

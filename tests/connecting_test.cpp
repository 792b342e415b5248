// How the TCP socket comes to its connection: names, several addresses, refusals and silence.

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/clock.h"
#include "platform/descriptor.h"
#include "tests/tcp_fixture.h"
#include "tests/virtual_clock.h"

namespace {

const std::thread::id main_thread = std::this_thread::get_id();
std::atomic<bool> resolver_is_apart = false;  // in a thread of its own that takes no alarms
std::atomic<bool> resolver_may_answer = false;

// What the names of these tests stand for; nothing is found for another one. A constant, so that a look-up that was
// given up may outlive the test.
using Name = std::pair<std::string_view, std::array<const char*, 3>>;
constexpr Name kNames[] = {{"refused-first.test", {"127.0.0.2", "127.0.0.1", "127.0.0.1"}},
                           {"silent-first.test", {"127.0.0.3", "127.0.0.1", "127.0.0.1"}},
                           {"silent-second.test", {"127.0.0.3", "127.0.0.4", "::1"}},
                           {"slow.test", {"127.0.0.1", "127.0.0.1", "127.0.0.1"}}};

}  // namespace

// Stands before the system's resolver, which is asked for numbers alone.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system_resolver = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0) return system_resolver(name, service, hints, found);
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  resolver_is_apart = std::this_thread::get_id() != main_thread && sigismember(&blocked, SIGALRM) == 1;
  while (name == std::string_view("slow.test") && !resolver_may_answer) std::this_thread::yield();
  const auto* entry = std::ranges::find(kNames, std::string_view(name), &Name::first);
  if (entry == std::end(kNames)) return EAI_NONAME;
  addrinfo numeric = *hints;
  numeric.ai_flags |= AI_NUMERICHOST;
  for (const char* address : entry->second) {
    system_resolver(address, service, &numeric, found);
    found = &(*found)->ai_next;
  }
  return 0;
}

namespace platform {
namespace {

using testing::ElementsAre;

class Connecting : public TcpClientSocketTest {};

// A listener that has no room for callers: none gets an answer before `Answer`, and then once the kernel asks again, a
// second later.
class SilentListener : public Listener {
 public:
  SilentListener(const char* address, std::int32_t port) : Listener(address, 0, port) {
    Paused = true;
    for (auto& caller : callers_) {
      caller = std::make_unique<Client>(address, Port());
      caller->Connect();
    }
  }

  // Serves the next caller. Those that took its room are gone: one of them asking again would take the caller's place.
  void Answer() {
    for (auto& caller : callers_) caller.reset();
    Paused = false;
  }

 private:
  std::unique_ptr<Client> callers_[2];
};

TEST_F(Connecting, TriesTheNextAddressOfANameWhenOneRefusesOrIsSilent) {
  const SilentListener silent("127.0.0.3", listener.Port());
  for (const std::string name : {"refused-first.test", "silent-first.test"}) {
    client->events.clear();
    client->Address = name;
    client->Connect();
    client->Write(name);
    EXPECT_TRUE(WaitFor([&] { return listener.Peer() != nullptr && listener.Peer()->Received == name; }));
    EXPECT_THAT(Events(1), ElementsAre("connected"));
    EXPECT_TRUE(resolver_is_apart);
  }
}

TEST_F(Connecting, AnEarlierAttemptMayStillWin) {
  SilentListener slow("127.0.0.3", listener.Port());
  const SilentListener silent("127.0.0.4", listener.Port());
  client->Address = "silent-second.test";
  std::set<long> attempts;
  Calls().hooks[kConnect] = [&attempts](long socket, unsigned long, void*) {
    attempts.insert(socket);
    return std::nullopt;
  };
  Calls().hooks[kClose] = [&attempts](long number, unsigned long, void*) {
    attempts.erase(number);
    return std::nullopt;
  };
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([&attempts] { return attempts.size() == 2; }));
  slow.Answer();
  EXPECT_TRUE(WaitFor([&slow] { return slow.Peer() != nullptr && slow.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
  EXPECT_THAT(attempts, ElementsAre(client->DescriptorNumber()));  // the other is given up
  Calls() = {};
}

TEST_F(Connecting, AddressesAreTriedAQuarterOfASecondApart) {
  const SilentListener first("127.0.0.3", listener.Port());
  const SilentListener second("127.0.0.4", listener.Port());
  VirtualClock clock;
  // Each attempt: its address family, and when it began.
  std::vector<std::string> attempts;
  const auto start = MonotonicNow();
  Calls().hooks[kConnect] = [&](long, unsigned long, void* address) {
    const bool ipv6 = static_cast<const sockaddr*>(address)->sa_family == AF_INET6;
    const auto time = std::chrono::round<std::chrono::milliseconds>(MonotonicNow() - start);
    attempts.push_back((ipv6 ? "IPv6 " : "IPv4 ") + std::to_string(time.count()));
    return std::nullopt;
  };
  clock.may_pass = [&attempts] { return !attempts.empty(); };  // not while the name is looked up
  client->Address = "silent-second.test";
  client->Connect();
  EventPump::Instance().Run(1000);
  std::erase(attempts, "IPv6 250");  // refused at once, where there is IPv6 at all; the next address follows it
  EXPECT_THAT(attempts, ElementsAre("IPv4 0", "IPv4 250"));
  EXPECT_LT(clock.waits.size(), 6U);  // no spin
}

TEST_F(Connecting, ConnectionToItselfCountsAsRefused) {
  client->Port = Listener().Port();
  Calls().hooks[kConnect] = [](long socket, unsigned long size, void* address) {
    bind(static_cast<int>(socket), static_cast<const sockaddr*>(address), static_cast<socklen_t>(size));
    return std::nullopt;
  };
  client->Connect();
  client->Write("not to ourselves");
  EXPECT_THAT(Events(1), ElementsAre(Error(ECONNREFUSED)));
}

TEST_F(Connecting, DeliversWhatAPeerSentThatBrokeTheConnectionAtOnce) {
  client->Connect();
  EventPump::Instance().RunOnly(listener);
  ASSERT_NE(listener.Peer(), nullptr);
  ASSERT_EQ(send(listener.Peer()->Number(), "bytes", 5, 0), 5);
  listener.Peer()->Reset();
  EXPECT_THAT(Events(3), ElementsAre("connected", "data bytes", Error(ECONNRESET)));
}

TEST_F(Connecting, SlowResolverHoldsNothingUp) {
  const int lowest_free = Descriptor(dup(STDOUT_FILENO)).Number();
  client->Address = "slow.test";
  client->Connect();
  EXPECT_THAT(Events(0), testing::IsEmpty());
  client->Close();  // gives up the first look-up, and then the second
  EXPECT_EQ(Descriptor(dup(STDOUT_FILENO)).Number(), lowest_free);
  client->Connect();
  client.reset();
  resolver_may_answer = true;
}

TEST_F(Connecting, FailuresComeAsOneEventAndNotFromConnect) {
  const std::int32_t refused_port = Listener().Port();
  const struct {
    const char* address;
    std::int32_t port;
    std::int32_t error;
  } cases[] = {{"127.0.0.1", refused_port, ECONNREFUSED},
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

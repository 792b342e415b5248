#include "platform/tcp_client_socket.h"

#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <atomic>
#include <csignal>
#include <sstream>
#include <thread>

#include "platform/clock.h"
#include "tests/support.h"

namespace {

const std::thread::id main_thread = std::this_thread::get_id();
std::atomic<bool> resolver_is_off_main_thread = false;  // whether it last ran on a separate thread with SIGALRM blocked
std::atomic<bool> resolver_may_answer = false;

}  // namespace

// Replaces the system's resolver. A test's host name is the list of its addresses, which the system's resolver parses.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system_resolver = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if ((hints->ai_flags & AI_NUMERICHOST) != 0) return system_resolver(name, service, hints, found);
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  resolver_is_off_main_thread = std::this_thread::get_id() != main_thread && sigismember(&blocked, SIGALRM) == 1;
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

using std::chrono::milliseconds;
using testing::ElementsAre;

class Client : public Recording<TcpClientSocket> {
 public:
  Client(const std::string& address, std::int32_t port, std::size_t receive_size = kReceiveSize)
      : Recording(receive_size) {
    Address = address;
    Port = port;
  }

 protected:
  void Event_Connected() override { Record("connected"); }
};

class TcpClientSocketTest : public testing::Test {
 protected:
  Listener listener;
  std::unique_ptr<Client> client = std::make_unique<Client>("127.0.0.1", listener.Port());

  void TearDown() override { Calls() = {}; }

  Channel& Connect() {
    client->Connect();
    EXPECT_TRUE(WaitFor([this] { return client->IsConnected() && listener.Peer() != nullptr; }));
    return *listener.Peer();
  }
  // Sends at once, without the event pump.
  void SendFromPeer(std::string_view bytes) const {
    EXPECT_EQ(send(listener.Peer()->DescriptorNumber(), bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
  }
  // Waits for `count` events, and a little longer for unexpected ones.
  const std::vector<std::string>& Events(std::size_t count) {
    EXPECT_TRUE(WaitFor([&] { return client->events.size() >= count; }));
    EventPump::Instance().Run(milliseconds(20));
    client->Poll();
    return client->events;
  }
};

// A listener with a full queue: the kernel does not answer a client until `Answer` makes room, and then only at the
// client's next retry, a second later.
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

TEST_F(TcpClientSocketTest, TriesNextAddressIfOneRefusesOrDoesNotAnswer) {
  const SilentListener silent("127.0.0.3", listener.Port());  // nothing listens at 127.0.0.2
  client->Write("neither connected nor connecting: dropped");
  for (const std::string name : {"127.0.0.2 127.0.0.1", "127.0.0.3 127.0.0.1"}) {
    client->events.clear();
    client->Address = name;
    client->Connect();
    client->Write(name);
    EXPECT_TRUE(WaitFor([&] { return listener.Peer() != nullptr && listener.Peer()->Received == name; }));
    EXPECT_THAT(Events(1), ElementsAre("connected"));
    EXPECT_TRUE(resolver_is_off_main_thread);
  }
}

TEST_F(TcpClientSocketTest, StartsAttemptsAQuarterSecondApart) {
  const SilentListener first("127.0.0.3", listener.Port());
  const SilentListener second("127.0.0.4", listener.Port());
  VirtualClock clock;
  // For each attempt, its address family and start time.
  std::vector<std::string> attempts;
  const auto start = MonotonicNow();
  Calls().hooks[kConnect] = [&](long, unsigned long, void* address) {
    const bool ipv6 = static_cast<const sockaddr*>(address)->sa_family == AF_INET6;
    const auto time = std::chrono::round<milliseconds>(MonotonicNow() - start);
    attempts.push_back((ipv6 ? "IPv6 " : "IPv4 ") + std::to_string(time.count()));
    return std::nullopt;
  };
  clock.may_pass = [&] { return !attempts.empty(); };  // not during the lookup
  client->Address = "127.0.0.3 127.0.0.4 ::1";
  client->Connect();
  EventPump::Instance().Run(milliseconds(1000));
  std::erase(attempts, "IPv6 250");  // only with IPv6, and refused at once; the next attempt follows at once
  EXPECT_THAT(attempts, ElementsAre("IPv4 0", "IPv4 250"));
  EXPECT_LT(Calls().counts[kPoll], 20);  // does not spin
}

TEST_F(TcpClientSocketTest, EarlierAttemptCanStillWin) {
  SilentListener slow("127.0.0.3", listener.Port());
  const SilentListener silent("127.0.0.4", listener.Port());
  client->Address = "127.0.0.3 127.0.0.4";
  Calls() = {};
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([] { return Calls().counts[kConnect] == 2; }));
  slow.Answer();
  EXPECT_TRUE(WaitFor([&] { return slow.Peer() != nullptr && slow.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
}

TEST_F(TcpClientSocketTest, SlowResolverDoesNotBlock) {
  Connect();
  Listener other_listener;
  Client other("127.0.0.1", other_listener.Port());
  other.Connect();
  ASSERT_TRUE(WaitFor([&] { return other.IsConnected() && other_listener.Peer() != nullptr; }));
  other.Address = "slow.test";
  client->then = [&](const std::string& /*event*/) { other.Connect(); };
  SendFromPeer("go");
  ASSERT_EQ(send(other_listener.Peer()->DescriptorNumber(), "lost", 4, 0), 4);
  EventPump::Instance().Run(milliseconds(0));  // both are ready, but one reconnects the other
  other.Close();
  EventPump::Instance().Run(milliseconds(20));
  const int lowest_free = Descriptor(dup(STDOUT_FILENO)).Number();
  other.Connect();
  EventPump::Instance().Run(milliseconds(20));
  other.Close();  // abandons the second lookup; the end of the test abandons the third
  EXPECT_EQ(Descriptor(dup(STDOUT_FILENO)).Number(), lowest_free);
  other.Connect();
  EXPECT_THAT(other.events, ElementsAre("connected"));
  resolver_may_answer = true;
}

TEST_F(TcpClientSocketTest, ReportsFailureAsOneEventAfterConnect) {
  const auto connect = [this](const char* address, std::int32_t port) {
    client->Address = address;
    client->Port = port;
    client->Connect();
  };
  const std::int32_t refusing = Listener().Port();
  const std::pair<std::function<void()>, std::int32_t> cases[] = {
      {[&] { connect("127.0.0.1", refusing); }, ECONNREFUSED},
      {[&] { connect("::1", -1); }, EADDRNOTAVAIL},
      {[&] { connect("127.0.0.1", 65536); }, EADDRNOTAVAIL},
      {[&] { connect("no-such-host.test", 80); }, EHOSTUNREACH},
      {[&] {  // to itself
         Calls().hooks[kConnect] = [](long socket, unsigned long size, void* address) {
           bind(static_cast<int>(socket), static_cast<const sockaddr*>(address), static_cast<socklen_t>(size));
           return std::nullopt;
         };
         connect("127.0.0.1", refusing);
         client->Write("not to ourselves");
       },
       ECONNREFUSED},
      {[&] {  // no descriptor is left for a lookup
         rlimit limit{};
         getrlimit(RLIMIT_NOFILE, &limit);
         const rlimit none{0, limit.rlim_max};
         setrlimit(RLIMIT_NOFILE, &none);
         connect("no-such-host.test", 80);
         setrlimit(RLIMIT_NOFILE, &limit);
       },
       EMFILE},
      {[&] {  // too much output
         connect("127.0.0.1", listener.Port());
         client->Write(std::string(TcpClientSocket::kOutputLimit, 'x'));
         EXPECT_EQ(client->LastErrorCode(), EMFILE);  // still the last one
         client->Write("x");
       },
       ENOBUFS}};
  for (const auto& [fail, error] : cases) {
    client->events.clear();
    fail();
    EXPECT_TRUE(client->events.empty());
    EXPECT_THAT(Events(1), ElementsAre(Error(error)));
  }
  Connect();  // a failed socket can be used again
}

TEST_F(TcpClientSocketTest, DeliversReceivedBytesBeforeError) {
  const auto shut_down = [this](const std::string& event) {
    if (event == "connected" && shutdown(client->DescriptorNumber(), SHUT_WR) == 0) client->Write("nobody gets this");
    if (event == "data bytes") ExpectQuietPump();  // although the error is pending
  };
  const std::pair<std::function<void()>, std::int32_t> cases[] = {
      {[&] { listener.Peer()->FinishSending(); }, ECONNRESET},
      {[&] { listener.Peer()->Reset(); }, ECONNRESET},  // at once, so that the attempt to connect seems to fail
      {[&] { client->then = shut_down; }, EPIPE}};
  for (const auto& [spoil, error] : cases) {
    client->events.clear();
    client->Connect();
    EventPump::Instance().RunOnly(listener);
    ASSERT_NE(listener.Peer(), nullptr);
    SendFromPeer("bytes");
    spoil();
    EXPECT_THAT(Events(3), ElementsAre("connected", "data bytes", Error(error)));
  }
}

TEST_F(TcpClientSocketTest, ReleasesMemoryOfSentOutput) {
  Channel& peer = Connect();
  peer.Paused = true;
  const std::size_t before = allocated_bytes;
  client->Write(std::string(TcpClientSocket::kOutputLimit, 'x'));
  EXPECT_GE(allocated_bytes, before + TcpClientSocket::kOutputLimit);
  peer.OnChange = [&peer] { peer.Received = {}; };
  peer.Paused = false;
  EXPECT_TRUE(WaitFor([before] { return allocated_bytes < before + TcpClientSocket::kOutputLimit / 8; }));
}

TEST_F(TcpClientSocketTest, SetsKeepAliveForHostAndSystemDefaultForDevice) {
  const auto option = [](int socket, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    getsockopt(socket, level, name, &value, &size);
    return value;
  };
  const ConnectedSocket host_link(nullptr);
  const int host = host_link.DescriptorNumber();
  EXPECT_EQ(option(host, IPPROTO_TCP, TCP_NODELAY), 1);
  EXPECT_EQ(option(host, SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(option(host, IPPROTO_TCP, TCP_KEEPIDLE), 60);
  EXPECT_EQ(option(host, IPPROTO_TCP, TCP_KEEPINTVL), 15);
  EXPECT_EQ(option(host, IPPROTO_TCP, TCP_KEEPCNT), 4);
  Connect();
  EXPECT_NE(option(client->DescriptorNumber(), IPPROTO_TCP, TCP_KEEPIDLE), 60);
}

TEST_F(TcpClientSocketTest, MayBeDestroyedByAnyOfItsHandlers) {
  listener.OnAccept = [this] {
    SendFromPeer("bytes");
    listener.Peer()->FinishSending();
  };
  for (const std::string& last : std::vector<std::string>{"connected", "data bytes", Error(ECONNRESET)}) {
    client = std::make_unique<Client>("127.0.0.1", listener.Port());
    client->then = [&](const std::string& event) {
      if (event == last) client.reset();
    };
    client->Connect();
    EXPECT_TRUE(WaitFor([this] { return client == nullptr; })) << last;
  }
}

TEST_F(TcpClientSocketTest, DataEventDeliversOneReceiveAndDropsUnreadBytes) {
  client = std::make_unique<Client>("127.0.0.1", listener.Port(), 4);
  Connect();
  SendFromPeer("1234567890");
  client->then = [this](const std::string& /*event*/) { client->reads = true; };
  client->reads = false;
  EXPECT_THAT(Events(4), ElementsAre("connected", "data ", "data 5678", "data 90"));
}

TEST_F(TcpClientSocketTest, ReconnectDiscardsStateOfPreviousConnection) {
  const std::function<void()> leave_something[] = {
      [this] { client->Write(std::string(TcpClientSocket::kOutputLimit + 1, 'x')); },  // a pending error
      [this] {  // an error held back until all input is read
        shutdown(client->DescriptorNumber(), SHUT_WR);
        client->Write("lost");
        client->Poll();
      },
      [this] {  // blocked output
        client->Write(std::string(TcpClientSocket::kOutputLimit, 'x'));
        client->Poll();
      }};
  for (const auto& leave : leave_something) {
    client = std::make_unique<Client>("127.0.0.1", listener.Port());
    client->then = [&](const std::string& event) {
      if (event != "data go") return;
      listener.Peer()->Paused = true;
      leave();
      client->Connect();
      client->Write("answer");
      listener.OnAccept = [this] { SendFromPeer("new"); };
    };
    listener.OnAccept = [this] { SendFromPeer("go"); };
    client->Connect();
    EXPECT_THAT(Events(4), ElementsAre("connected", "data go", "connected", "data new"));
    EXPECT_TRUE(WaitFor([&] { return listener.Peer()->Received == "answer"; }));
    ExpectQuietPump();
  }
}

TEST_F(TcpClientSocketTest, PollOrRunInDataEventSendsWithoutNestingOrSpinning) {
  Channel& peer = Connect();
  const std::string answer(std::size_t{8} << 20, 'x');  // more than is sent at once
  int depth = 0;
  client->then = [&](const std::string& event) {
    EXPECT_EQ(++depth, 1);
    if (event == "data first") {
      SendFromPeer("second");
      client->Write(answer);
      Calls().hooks[kPoll] = [&](auto...) -> std::optional<long> {  // the peer makes room while the pump waits
        for (int i = 0; i < 100; ++i) peer.Received += peer.ReadAll();
        return std::nullopt;
      };
      for (int i = 0; i < 3; ++i) client->Poll();
      EXPECT_TRUE(WaitFor([&] { return peer.Received == answer; }));
      ExpectQuietPump();
    }
    --depth;
  };
  SendFromPeer("first");
  EXPECT_THAT(Events(3), ElementsAre("connected", "data first", "data second"));
}

}  // namespace
}  // namespace platform

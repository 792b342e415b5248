#include "platform/tcp_client_socket.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "simulator/listener.h"
#include "simulator/wait.h"

namespace {

std::atomic<std::thread::id> resolver_thread;
std::atomic<bool> resolver_may_answer = false;

}  // namespace

// Stands before the system's resolver: knows a name of two addresses, of which only the second has a listener
// in these tests, and a name that is answered late.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system_resolver =
      reinterpret_cast<int (*)(const char*, const char*, const addrinfo*, addrinfo**)>(
          dlsym(RTLD_NEXT, "getaddrinfo"));
  const bool for_numbers = hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0;
  const std::string_view asked = name;
  if (for_numbers || !asked.ends_with(".test")) return system_resolver(name, service, hints, found);
  resolver_thread = std::this_thread::get_id();
  while (asked == "slow.test" && !resolver_may_answer) std::this_thread::yield();
  addrinfo* second = nullptr;
  system_resolver("127.0.0.1", service, hints, &second);
  const int result = system_resolver("127.0.0.2", service, hints, found);
  (*found)->ai_next = second;
  return result;
}

namespace platform {
namespace {

using testing::ElementsAre;

// Records its events in order; a test may do something inside them.
class Client : public TcpClientSocket {
 public:
  std::vector<std::string> events;
  std::function<void()> on_connected, on_data, on_error;

  Client(const std::string& address, std::int32_t port) {
    Address = address;
    Port = port;
  }
  using ByteStream::DescriptorNumber;

 protected:
  void Event_Connected() override { Record("connected", on_connected); }
  void Event_DataAvailable() override { Record("data " + ReadAll(), on_data); }
  void Event_Error() override { Record("error " + std::to_string(LastErrorCode()), on_error); }

 private:
  void Record(const std::string& event, const std::function<void()>& then) {
    events.push_back(event);
    if (const auto action = then) action();
  }
};

class TcpClientSocketTest : public testing::Test {
 protected:
  Listener listener;
  std::unique_ptr<Client> client = std::make_unique<Client>("127.0.0.1", listener.Port());

  Channel& Connected() {
    client->Connect();
    EXPECT_TRUE(WaitFor([this] { return client->IsConnected() && listener.Peer() != nullptr; }));
    return *listener.Peer();
  }
  void ShutDownPeer() { shutdown(listener.Peer()->Number(), SHUT_WR); }
};

TEST_F(TcpClientSocketTest, DeliversWhatCameBeforeTheEnd) {
  client->Write("early");  // neither connected nor connecting: dropped
  client->Connect();
  client->Write("queued");
  EXPECT_TRUE(client->events.empty());
  ASSERT_TRUE(WaitFor([this] { return client->IsConnected() && listener.Peer() != nullptr; }));
  ASSERT_TRUE(WaitFor([this] { return listener.Peer()->Received == "queued"; }));
  listener.Peer()->Send("last words");
  ASSERT_TRUE(WaitFor([this] { return listener.Peer()->Unsent() == 0; }));
  ShutDownPeer();
  ASSERT_TRUE(WaitFor([this] { return client->events.size() == 3; }));
  EXPECT_THAT(client->events,
              ElementsAre("connected", "data last words", "error " + std::to_string(ECONNRESET)));
  EXPECT_FALSE(client->IsConnected());
  EventPump::Instance().Run(50);
  client->Poll();
  EXPECT_EQ(client->events.size(), 3U);
}

TEST_F(TcpClientSocketTest, FailuresComeAsOneEventAndNotFromConnect) {
  std::int32_t refused_port = 0;
  {
    const Listener gone;
    refused_port = gone.Port();
  }
  const struct {
    const char* address;
    std::int32_t port;
    std::int32_t error;
  } cases[] = {{"127.0.0.1", refused_port, ECONNREFUSED},
               {"::1", -1, EADDRNOTAVAIL},
               {"127.0.0.1", 70000, EADDRNOTAVAIL},
               {"no-such-host.invalid", 80, 0},
               {"", 80, 0}};
  for (const auto& c : cases) {
    Client failing(c.address, c.port);
    failing.Connect();
    EXPECT_TRUE(failing.events.empty());
    ASSERT_TRUE(WaitFor([&failing] { return !failing.events.empty(); })) << c.address;
    EventPump::Instance().Run(20);
    EXPECT_EQ(failing.events.size(), 1U);
    if (c.error != 0) {
      EXPECT_EQ(failing.LastErrorCode(), c.error);
    }
    EXPECT_NE(failing.LastErrorCode(), 0);
    // A failed socket can be used again.
    failing.Address = "127.0.0.1";
    failing.Port = listener.Port();
    failing.Connect();
    EXPECT_TRUE(WaitFor([&failing] { return failing.IsConnected(); }));
  }
}

TEST_F(TcpClientSocketTest, TriesEveryAddressOfAName) {
  client->Address = "two-addresses.test";
  client->Write("dropped");
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([this] { return listener.Peer() != nullptr && listener.Peer()->Received == "hello"; }));
  EXPECT_THAT(client->events, ElementsAre("connected"));
  EXPECT_NE(resolver_thread.load(), std::this_thread::get_id());
}

TEST_F(TcpClientSocketTest, SlowResolverHoldsNothingUp) {
  client->Address = "slow.test";
  client->Connect();
  EventPump::Instance().Run(50);
  EXPECT_THAT(client->events, testing::IsEmpty());
  client->Connect();  // gives up the first look-up, and then the second
  client.reset();
  resolver_may_answer = true;
}

TEST_F(TcpClientSocketTest, MayBeDestroyedByEachOfItsHandlers) {
  const auto destroy = [this] { client.reset(); };
  client->on_connected = destroy;
  client->Connect();
  EXPECT_TRUE(WaitFor([this] { return client == nullptr && listener.Peer() != nullptr; }));

  client = std::make_unique<Client>("127.0.0.1", listener.Port());
  Connected().Send("bytes");
  client->on_data = destroy;
  EXPECT_TRUE(WaitFor([this] { return client == nullptr; }));

  client = std::make_unique<Client>("127.0.0.1", listener.Port());
  Connected();
  client->on_error = destroy;
  ShutDownPeer();
  EXPECT_TRUE(WaitFor([this] { return client == nullptr; }));
}

TEST_F(TcpClientSocketTest, PollInsideTheDataEventSendsButDoesNotNest) {
  Channel& peer = Connected();
  int depth = 0;
  int deepest = 0;
  std::string seen_by_peer;
  client->on_data = [&] {
    deepest = std::max(deepest, ++depth);
    if (client->events.size() == 2) {
      peer.Send("second");
      client->Write("answer");
      for (int i = 0; i < 3; ++i) client->Poll();
      EventPump::Instance().Run(50);
      seen_by_peer = peer.Received;
    }
    --depth;
  };
  peer.Send("first");
  ASSERT_TRUE(WaitFor([this] { return client->events.size() == 3; }));
  EXPECT_THAT(client->events, ElementsAre("connected", "data first", "data second"));
  EXPECT_EQ(deepest, 1);
  EXPECT_EQ(seen_by_peer, "answer");
}

TEST_F(TcpClientSocketTest, PeerThatNeverReadsIsFailedAtTheLimit) {
  const Descriptor silent(socket(AF_INET, SOCK_STREAM, 0));
  ASSERT_EQ(listen(silent.Number(), 1), 0);
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  getsockname(silent.Number(), reinterpret_cast<sockaddr*>(&bound), &size);
  const auto* port = reinterpret_cast<const unsigned char*>(&bound) + 2;
  client->Port = port[0] * 256 + port[1];
  client->Connect();
  ASSERT_TRUE(WaitFor([this] { return client->IsConnected(); }));
  const std::string chunk(1 << 20, 'x');
  for (int i = 0; i < 40 && client->IsConnected(); ++i) {
    client->Write(chunk);
    client->Poll();
  }
  EXPECT_FALSE(client->IsConnected());
  client->Poll();
  EXPECT_THAT(client->events, ElementsAre("connected", "error " + std::to_string(ENOBUFS)));
  client->Write(chunk);
  EventPump::Instance().Run(20);
  EXPECT_EQ(client->events.size(), 2U);
}

TEST_F(TcpClientSocketTest, ReadAllTakesWhatWaitsWithoutAnEvent) {
  Channel& peer = Connected();
  ASSERT_EQ(send(peer.Number(), "waiting", 7, 0), 7);
  std::string bytes;
  for (int i = 0; i < 1000 && bytes.empty(); ++i) bytes = client->ReadAll();
  EXPECT_EQ(bytes, "waiting");
  EXPECT_EQ(client->events.size(), 1U);
}

TEST_F(TcpClientSocketTest, CloseInsideTheDataEventEndsTheConnection) {
  Channel& peer = Connected();
  client->on_data = [this] { client->Close(); };
  peer.Send("bytes");
  EXPECT_TRUE(WaitFor([&peer] { return peer.Ended; }));
  EXPECT_THAT(client->events, ElementsAre("connected", "data bytes"));
}

TEST_F(TcpClientSocketTest, BrokenSendStillDeliversWhatArrived) {
  Channel& peer = Connected();
  ASSERT_EQ(send(peer.Number(), "bytes", 5, 0), 5);
  shutdown(client->DescriptorNumber(), SHUT_WR);
  client->Write("nobody gets this");
  ASSERT_TRUE(WaitFor([this] { return client->events.size() == 3; }));
  EXPECT_THAT(client->events, ElementsAre("connected", "data bytes", "error " + std::to_string(EPIPE)));
}

}  // namespace
}  // namespace platform

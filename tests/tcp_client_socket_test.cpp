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

#include "peers/listener.h"
#include "peers/waiting.h"

namespace {

std::atomic<std::thread::id> resolver_thread;
std::atomic<bool> resolver_may_answer = false;

}  // namespace

// Stands before the system's resolver: knows a name of two addresses, of which only the second has a listener in these
// tests, and a name that is answered late.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system_resolver = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
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

std::string Error(int code) {
  return "error " + std::to_string(code);
}

// Records its events in order; a test may do something after each.
class Client : public TcpClientSocket {
 public:
  std::vector<std::string> events;
  std::function<void(const std::string& event)> then;

  Client(const std::string& address, std::int32_t port) {
    Address = address;
    Port = port;
  }
  using ByteStream::DescriptorNumber;

 protected:
  void Event_Connected() override { Record("connected"); }
  void Event_DataAvailable() override { Record("data " + ReadAll()); }
  void Event_Error() override { Record(Error(LastErrorCode())); }

 private:
  void Record(const std::string& event) {
    events.push_back(event);
    if (const auto action = then) action(event);
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
  // Waits for so many events, and a little longer for more that there should not be.
  const std::vector<std::string>& Events(std::size_t count) {
    EXPECT_TRUE(WaitFor([&] { return client->events.size() >= count; }));
    EventPump::Instance().Run(20);
    client->Poll();
    return client->events;
  }
};

TEST_F(TcpClientSocketTest, DeliversWhatCameBeforeTheEnd) {
  client->Write("early");  // neither connected nor connecting: dropped
  client->Connect();
  client->Write("queued");
  EXPECT_TRUE(client->events.empty());
  ASSERT_TRUE(WaitFor([this] { return listener.Peer() != nullptr && listener.Peer()->Received == "queued"; }));
  ASSERT_EQ(send(listener.Peer()->Number(), "last words", 10, 0), 10);
  shutdown(listener.Peer()->Number(), SHUT_WR);
  EXPECT_THAT(Events(3), ElementsAre("connected", "data last words", Error(ECONNRESET)));
  EXPECT_FALSE(client->IsConnected());
}

TEST_F(TcpClientSocketTest, BrokenSendStillDeliversWhatArrived) {
  Channel& peer = Connected();
  ASSERT_EQ(send(peer.Number(), "bytes", 5, 0), 5);
  shutdown(client->DescriptorNumber(), SHUT_WR);
  client->Write("nobody gets this");
  EXPECT_THAT(Events(3), ElementsAre("connected", "data bytes", Error(EPIPE)));
}

TEST_F(TcpClientSocketTest, FailuresComeAsOneEventAndNotFromConnect) {
  const std::int32_t refused_port = Listener().Port();
  const struct {
    const char* address;
    std::int32_t port;
    std::int32_t error;
  } cases[] = {{"127.0.0.1", refused_port, ECONNREFUSED},
               {"::1", -1, EADDRNOTAVAIL},
               {"127.0.0.1", 70000, EADDRNOTAVAIL},
               {"no-such-host.invalid", 80, 0}};
  for (const auto& c : cases) {
    client->events.clear();
    client->Address = c.address;
    client->Port = c.port;
    client->Connect();
    EXPECT_TRUE(client->events.empty());
    EXPECT_THAT(Events(1), ElementsAre(testing::StartsWith(Error(c.error == 0 ? 1 : c.error).substr(0, 7))));
    EXPECT_TRUE(c.error == 0 || client->LastErrorCode() == c.error);
  }
  client->Address = "127.0.0.1";
  client->Port = listener.Port();
  Connected();  // a failed socket can be used again
}

TEST_F(TcpClientSocketTest, TriesEveryAddressOfAName) {
  client->Address = "two-addresses.test";
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([this] { return listener.Peer() != nullptr && listener.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
  EXPECT_NE(resolver_thread.load(), std::this_thread::get_id());
}

TEST_F(TcpClientSocketTest, SlowResolverHoldsNothingUp) {
  client->Address = "slow.test";
  client->Connect();
  EXPECT_THAT(Events(0), testing::IsEmpty());
  client->Connect();  // gives up the first look-up, and then the second
  client.reset();
  resolver_may_answer = true;
}

TEST_F(TcpClientSocketTest, PeerThatDoesNotAnswerBringsNoEvent) {
  Listener full("127.0.0.1", 0);
  full.Paused = true;
  client->Port = full.Port();
  Client fillers[]{{"127.0.0.1", full.Port()}, {"127.0.0.1", full.Port()}};
  for (Client& filler : fillers) filler.Connect();
  client->Connect();
  EXPECT_THAT(Events(0), testing::IsEmpty());
  EXPECT_FALSE(client->IsConnected());
}

TEST_F(TcpClientSocketTest, MayBeDestroyedByEachOfItsHandlers) {
  for (const std::string last : {"connected", "data bytes", "error 104"}) {
    client = std::make_unique<Client>("127.0.0.1", listener.Port());
    client->then = [&](const std::string& event) {
      if (event == last) client.reset();
    };
    listener.OnAccept = [this] {
      listener.Peer()->Send("bytes");
      EventPump::Instance().RunOnly(*listener.Peer());
      shutdown(listener.Peer()->Number(), SHUT_WR);
    };
    client->Connect();
    EXPECT_TRUE(WaitFor([this] { return client == nullptr; })) << last;
  }
}

TEST_F(TcpClientSocketTest, PollInsideTheDataEventSendsButDoesNotNest) {
  Channel& peer = Connected();
  int depth = 0;
  client->then = [&](const std::string& event) {
    EXPECT_EQ(++depth, 1);
    if (event == "data first") {
      peer.Send("second");
      client->Write("answer");
      for (int i = 0; i < 3; ++i) client->Poll();
      EXPECT_TRUE(WaitFor([&peer] { return peer.Received == "answer"; }));
    }
    --depth;
  };
  peer.Send("first");
  EXPECT_THAT(Events(3), ElementsAre("connected", "data first", "data second"));
}

TEST_F(TcpClientSocketTest, PeerThatNeverReadsIsFailedAtTheLimit) {
  Connected().Paused = true;
  const std::string chunk(1 << 20, 'x');
  for (int i = 0; i < 40 && client->IsConnected(); ++i) {
    client->Write(chunk);
    client->Poll();
  }
  client->Write(chunk);
  EXPECT_THAT(Events(2), ElementsAre("connected", Error(ENOBUFS)));
}

}  // namespace
}  // namespace platform

#include "platform/tcp_client_socket.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "peers/listener.h"
#include "peers/waiting.h"
#include "tests/system_calls.h"

namespace {

std::atomic<std::thread::id> resolver_thread;
std::atomic<bool> resolver_may_answer = false;

// What the names of these tests stand for. Who is asked for another one finds nothing.
const std::map<std::string, std::vector<const char*>, std::less<>> kNames{
    {"refused-first.test", {"127.0.0.2", "127.0.0.1"}},
    {"silent-first.test", {"127.0.0.3", "127.0.0.1"}},
    {"silent-second.test", {"127.0.0.3", "127.0.0.4"}},
    {"slow.test", {"127.0.0.1"}}};

}  // namespace

// Stands before the system's resolver, which is asked for numbers alone.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system_resolver = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0) return system_resolver(name, service, hints, found);
  resolver_thread = std::this_thread::get_id();
  while (name == std::string_view("slow.test") && !resolver_may_answer) std::this_thread::yield();
  const auto entry = kNames.find(std::string_view(name));
  if (entry == kNames.end()) return EAI_NONAME;
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

  void TearDown() override { Calls() = {}; }

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

TEST_F(TcpClientSocketTest, TriesTheNextAddressOfANameWhenOneRefuses) {
  client->Address = "refused-first.test";
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([this] { return listener.Peer() != nullptr && listener.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
  EXPECT_NE(resolver_thread.load(), std::this_thread::get_id());
}

// A listener that has no room for callers: none gets an answer before `Paused` is taken back.
class SilentListener : public Listener {
 public:
  SilentListener(const char* address, std::int32_t port) : Listener(address, 0, port) {
    Paused = true;
    for (auto& caller : callers_) {
      caller = std::make_unique<Client>(address, Port());
      caller->Connect();
    }
  }

 private:
  std::unique_ptr<Client> callers_[2];
};

TEST_F(TcpClientSocketTest, SilentAddressKeepsNoOtherWaiting) {
  const SilentListener silent("127.0.0.3", listener.Port());
  client->Address = "silent-first.test";
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([this] { return listener.Peer() != nullptr && listener.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
}

TEST_F(TcpClientSocketTest, AnEarlierAttemptMayStillWin) {
  SilentListener slow("127.0.0.3", listener.Port());
  const SilentListener silent("127.0.0.4", listener.Port());
  client->Address = "silent-second.test";
  int attempts = 0;
  Calls().before_connect = [&attempts](int, const sockaddr*, socklen_t) { ++attempts; };
  client->Connect();
  client->Write("hello");
  EXPECT_TRUE(WaitFor([&attempts] { return attempts == 2; }));
  slow.Paused = false;  // answers when the kernel asks again, a second later
  EXPECT_TRUE(WaitFor([&slow] { return slow.Peer() != nullptr && slow.Peer()->Received == "hello"; }));
  EXPECT_THAT(Events(1), ElementsAre("connected"));
}

TEST_F(TcpClientSocketTest, ConnectionToItselfCountsAsRefused) {
  client->Port = Listener().Port();
  Calls().before_connect = [](int socket, const sockaddr* address, socklen_t size) { bind(socket, address, size); };
  client->Connect();
  client->Write("not to ourselves");
  EXPECT_THAT(Events(1), ElementsAre(Error(ECONNREFUSED)));
}

TEST_F(TcpClientSocketTest, DeliversWhatAPeerSentThatBrokeTheConnectionAtOnce) {
  client->Connect();
  EventPump::Instance().RunOnly(listener);
  ASSERT_NE(listener.Peer(), nullptr);
  ASSERT_EQ(send(listener.Peer()->Number(), "bytes", 5, 0), 5);
  const linger at_once{1, 0};
  setsockopt(listener.Peer()->Number(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  listener.Peer()->Close();
  EXPECT_THAT(Events(3), ElementsAre("connected", "data bytes", Error(ECONNRESET)));
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
  const SilentListener silent("127.0.0.3", 0);
  client->Address = "127.0.0.3";
  client->Port = silent.Port();
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

TEST_F(TcpClientSocketTest, RefusedOutputIsNotTriedAgainInTheSameDataEvent) {
  Channel& peer = Connected();
  peer.Paused = true;
  std::string sent(std::size_t{7} << 20, 'x');
  int calls = 0;
  Calls().before_ppoll = [&calls] { ++calls; };
  Calls().on_write = [&calls](int, std::size_t) {
    ++calls;
    return std::nullopt;
  };
  client->then = [&](const std::string& event) {
    if (event != "data go") return;
    client->Write(sent);
    client->Poll();
    client->Poll();  // the kernel's room grows with the first attempt
    calls = 0;
    for (int line = 0; line < 100; ++line) {
      client->Write("line");
      sent += "line";
      for (int i = 0; i < 3; ++i) client->Poll();
    }
    EXPECT_EQ(calls, 0);
  };
  peer.Send("go");
  EXPECT_THAT(Events(2), ElementsAre("connected", "data go"));
  peer.Paused = false;
  EXPECT_TRUE(WaitFor([&] { return peer.Received.size() == sent.size(); }));
  EXPECT_TRUE(peer.Received == sent);
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

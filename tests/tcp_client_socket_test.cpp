#include "platform/tcp_client_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

#include "tests/connected_socket.h"
#include "tests/stream_fixtures.h"

namespace platform {
namespace {

using testing::ElementsAre;

TEST_F(TcpClientSocketTest, DeliversBytesReceivedBeforeEnd) {
  client->Write("early");  // neither connected nor connecting: dropped
  client->Connect();
  client->Write("queued");
  EXPECT_TRUE(client->events.empty());
  ASSERT_TRUE(WaitFor([this] { return listener.Peer() != nullptr && listener.Peer()->Received == "queued"; }));
  ASSERT_EQ(send(listener.Peer()->Number(), "last words", 10, 0), 10);
  shutdown(listener.Peer()->Number(), SHUT_WR);
  EXPECT_THAT(Events(3), ElementsAre("connected", "data last words", Error(ECONNRESET)));
}

TEST_F(TcpClientSocketTest, DeliversReceivedBytesAfterFailedSend) {
  Channel& peer = Connected();
  client->then = [](const std::string& event) {
    if (event != "data bytes") return;
    Calls() = {};
    EventPump::Instance().Run(std::chrono::milliseconds(20));  // does not spin, although the error is pending
    EXPECT_LT(Calls().counts[kPoll], 5);
  };
  ASSERT_EQ(send(peer.Number(), "bytes", 5, 0), 5);
  shutdown(client->DescriptorNumber(), SHUT_WR);
  client->Write("nobody gets this");
  EXPECT_THAT(Events(3), ElementsAre("connected", "data bytes", Error(EPIPE)));
}

TEST_F(TcpClientSocketTest, ReleasesMemoryOfSentOutput) {
  Channel& peer = Connected();
  peer.Paused = true;
  const std::size_t before = allocated_bytes;
  client->Write(std::string(TcpClientSocket::kOutputLimit, 'x'));
  EXPECT_GE(allocated_bytes, before + TcpClientSocket::kOutputLimit);
  peer.OnChange = [&peer] { peer.Received = {}; };
  peer.Paused = false;
  EXPECT_TRUE(WaitFor([before] { return allocated_bytes < before + TcpClientSocket::kOutputLimit / 8; }));
}

int Option(int socket, int level, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  getsockopt(socket, level, name, &value, &size);
  return value;
}

TEST_F(TcpClientSocketTest, SetsKeepAliveForHostAndSystemDefaultForDevice) {
  const ConnectedSocket host_link(nullptr);
  const int link = host_link.DescriptorNumber();
  EXPECT_EQ(Option(link, IPPROTO_TCP, TCP_NODELAY), 1);
  EXPECT_EQ(Option(link, SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(Option(link, IPPROTO_TCP, TCP_KEEPIDLE), 60);
  EXPECT_EQ(Option(link, IPPROTO_TCP, TCP_KEEPINTVL), 15);
  EXPECT_EQ(Option(link, IPPROTO_TCP, TCP_KEEPCNT), 4);
  Connected();
  EXPECT_NE(Option(client->DescriptorNumber(), IPPROTO_TCP, TCP_KEEPIDLE), 60);
}

TEST_F(TcpClientSocketTest, MayBeDestroyedByAnyOfItsHandlers) {
  for (const std::string& last : std::vector<std::string>{"connected", "data bytes", Error(ECONNRESET)}) {
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

TEST_F(TcpClientSocketTest, DataEventDeliversOneReceiveAndDropsUnreadBytes) {
  client = std::make_unique<Client>("127.0.0.1", listener.Port(), 4);
  ASSERT_EQ(send(Connected().Number(), "1234567890", 10, 0), 10);
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
    Listener peers;
    client = std::make_unique<Client>("127.0.0.1", peers.Port());
    client->then = [&](const std::string& event) {
      if (event != "data go") return;
      peers.Peer()->Paused = true;
      leave();
      client->Connect();
      client->Write("answer");
      peers.OnAccept = [&] { peers.Peer()->Send("new"); };
    };
    peers.OnAccept = [&] { peers.Peer()->Send("go"); };
    client->Connect();
    EXPECT_THAT(Events(4), ElementsAre("connected", "data go", "connected", "data new"));
    EXPECT_TRUE(WaitFor([&] { return peers.Peer()->Received == "answer"; }));
    Calls() = {};
    EventPump::Instance().Run(std::chrono::milliseconds(20));
    EXPECT_LT(Calls().counts[kPoll], 5);
    client.reset();
  }
}

TEST_F(TcpClientSocketTest, PollOrRunInDataEventSendsWithoutNestingOrSpinning) {
  Channel& peer = Connected();
  const std::string answer(std::size_t{4} << 20, 'x');  // more than is sent at once
  int depth = 0;
  client->then = [&](const std::string& event) {
    EXPECT_EQ(++depth, 1);
    if (event == "data first") {
      peer.Send("second");
      client->Write(answer);
      for (int i = 0; i < 3; ++i) client->Poll();
      EXPECT_TRUE(WaitFor([&] { return peer.Received == answer && peer.Unsent() == 0; }));
      Calls() = {};
      EventPump::Instance().Run(std::chrono::milliseconds(20));
      EXPECT_LT(Calls().counts[kPoll], 5);
    }
    --depth;
  };
  peer.Send("first");
  EXPECT_THAT(Events(3), ElementsAre("connected", "data first", "data second"));
}

TEST_F(TcpClientSocketTest, OutputLimitAppliesWhileConnecting) {
  client->Connect();
  client->Write(std::string(std::size_t{8} << 20, 'x'));
  EXPECT_EQ(client->LastErrorCode(), 0);
  client->Write("x");
  EXPECT_THAT(Events(1), ElementsAre(Error(ENOBUFS)));
}

}  // namespace
}  // namespace platform

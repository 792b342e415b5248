#include "host/host_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

#include "tests/host_fixture.h"
#include "tests/system_calls.h"

namespace {

using testing::ElementsAre;

constexpr const char* kMalformed = "4 torvy: Received malformed packet from host";

std::string Plain(char command) {
  return ControllerCommand(std::string(1, command)).GetRawCommand();
}

std::string Device(std::string_view address, std::string_view command) {
  return DeviceCommand(address, command, "17").GetRawCommand();
}

// The packet with so many zero bytes as its length.
std::string Zeroed(std::string packet, std::size_t length_size) {
  return packet.replace(1, length_size, length_size, '\0');
}

class HostStream : public testing::Test {
 protected:
  std::string messages;  // each in short: its kind and command, or the address and command of a device command
  ConnectedSocket socket{[this](cQuorvaneCommand& message) {
    messages += message.isMultiPacket ? "J " + message.GetMulti("addr") + " " + message.GetMulti("mcmd")
                                      : message.Header + " " + message.Command;
    messages += ", ";
  }};

  std::string TakeMessages() { return std::exchange(messages, {}); }

  // How many malformed lines the host has got since the last call.
  std::size_t TakeComplaints() {
    const auto lines = socket.Logged();
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), kMalformed));
  }
};

TEST_F(HostStream, CutsPacketsInOrderAndGoesOnAfterBadOnes) {
  const struct {
    std::string stream;
    std::string messages;
    std::size_t complaints;
    std::size_t left = 0;
  } cases[] = {
      {Plain('Q') + Device("0102", "ON") + "j" + Device("0304", "OFF").substr(1), "X Q, J 0102 ON, J 0304 OFF, ", 0},
      {Device("0102", std::string(272, 'w')), "J 0102 " + std::string(272, 'w') + ", ", 0},  // 300 bytes
      {Device("0102", std::string(484, 'w')), "J 0102 " + std::string(484, 'w') + ", ", 0},  // 512 bytes
      {"E\x02" + Plain('D') + "A\x03x?\x02" + Plain('Q'), "X D, X Q, ", 3},
      {"X\x01\x02" + Plain('D'), "X , X D, ", 1},  // a length below the head leaves the rest to the next packet
      {Bytes("4A 0B 00 80 61 64 64 72 09 00 31") + "L\x05\x02hi", "J 1 , L , ", 0},
      {Bytes("4A 04 00 80"), "", 1},  // four bytes are no multipacket yet
      {std::string(cQuorvaneDeviceSocket::kHostReceiveSize, '\0'), "", 1},
      {std::string(3, '\0') + Plain('D'), "X D, ", 1},
      {Zeroed(Plain('Q'), 1) + Plain('D') + Zeroed(Plain('Q'), 1) + Plain('D'), "X D, X D, ", 2},
      {Zeroed(Device("0102", "ON"), 2) + Plain('D'), "X D, ", 1},
      {std::string("X\0J\0\0\0", 6), "", 1},
      {std::string("J\0\0\0", 4), "", 0, 4},  // may yet become a multipacket of 256 bytes
      // Packets that our own receive cuts are looked for, too.
      {std::string("X\0", 2) + std::string(cQuorvaneDeviceSocket::kHostReceiveSize - 9, '?') + Device("0102", "ON"),
       "J 0102 ON, ", 1}};
  for (const auto& c : cases) {
    socket.Buffer.clear();
    socket.Deliver(c.stream);
    EXPECT_EQ(TakeMessages(), c.messages);
    EXPECT_EQ(TakeComplaints(), c.complaints) << c.messages;
    EXPECT_EQ(socket.Buffer.size(), c.left);
  }
}

TEST_F(HostStream, TellsHowMuchOfAMultipacketIsThere) {
  const std::string packet = Device("0102", std::string(272, 'w'));
  socket.Deliver(packet.substr(0, 3));  // not yet more than four bytes
  socket.Deliver(packet.substr(3, 2));
  socket.Deliver(packet.substr(5, 200));
  socket.Deliver(packet.substr(205) + "J\x04");
  EXPECT_THAT(socket.Logged(),
              ElementsAre("2 bufflength is 5 packet length is: 300", "2 bufflength is 205 packet length is: 300"));
  EXPECT_EQ(socket.Buffer, "J\x04");
}

// Each header that is completed cuts the next, and there is always more.
TEST_F(HostStream, FloodOfCutHeadersIsLeftToLaterEvents) {
  constexpr int kMost = 200'000;
  int headers = 0;
  const auto feed = [&](const std::string& bytes) {
    return send(socket.Host.Link()->Number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  };
  ASSERT_GT(feed("X\x02J"), 0);
  // The host sends one more whenever the socket is about to read.
  Calls().hooks[kRead] = [&](long, unsigned long, void*) {
    if (headers < kMost && feed(std::string("\0\0\0J", 4)) > 0) ++headers;
    return std::nullopt;
  };
  platform::EventPump::Instance().RunOnly(socket);
  Calls() = {};
  EXPECT_LT(headers, kMost);
  ASSERT_GT(feed(std::string("\0\0\0", 3) + Plain('D')), 0);
  EXPECT_TRUE(WaitFor([this] { return messages == "X , X D, "; }));
}

// Packets of these sizes put every part of a multipacket's head at the end of a receive.
TEST(HostSocket, TakesTheRestOfAPacketThatItsReceiveCut) {
  constexpr std::size_t kStream = std::size_t{1} << 20;
  for (const std::size_t size : {257U, 258U, 259U, 260U, 516U, 1028U, 65535U}) {
    std::size_t whole = 0;
    ConnectedSocket socket([&](cQuorvaneCommand& message) { whole += message.GetMulti("fill").size() + 10 == size; });
    cQuorvaneCommand message;
    message.SetMulti("fill", std::string(size - 10, 'f'));
    const std::string packet = message.GetRawCommand();
    ASSERT_EQ(packet.size(), size);
    const std::size_t packets = kStream / size;
    for (std::size_t i = 0; i < packets; ++i) socket.Host.Link()->Send(packet);
    EXPECT_TRUE(WaitFor([&] { return whole == packets; })) << size;
    for (const std::string& line : socket.Logged()) EXPECT_THAT(line, testing::StartsWith("2 bufflength is ")) << size;
  }
}

TEST(HostSocket, WritesLogPackets) {
  ConnectedSocket socket(nullptr);
  socket.Host.Link()->OnChange = nullptr;  // leaves the bytes as they come
  std::string two_byte_letters;
  for (int i = 0; i < 150; ++i) two_byte_letters += "\xC3\xA4";
  socket.SendLog("", 2);
  socket.SendLog("ready", 255);
  socket.SendLog(std::string(249, 'x'), 4);
  socket.SendLog(std::string(300, 'y'), 2);
  socket.SendLog(two_byte_letters, 4);
  cQuorvaneCommand command = DeviceCommand("0102", "ON", "1");
  socket.SendCommand(command);
  socket.SendCommand(command.MakeAck());
  const std::string expected = Bytes("4C 03 02") + "L\x08\xFFready" + "L\xFC\x04" + std::string(249, 'x') +
                               "L\xFC\x02" + std::string(249, 'y') + "L\xFB\x04" + two_byte_letters.substr(0, 248) +
                               command.GetRawCommand() + command.MakeAck().GetRawCommand();
  EXPECT_TRUE(WaitFor([&] { return socket.Host.Link()->Received.size() >= expected.size(); }));
  EXPECT_EQ(socket.Host.Link()->Received, expected);
}

TEST(HostSocket, ReceivesFourKibibytesAtATime) {
  ConnectedSocket socket([](cQuorvaneCommand&) {});
  unsigned long most = 0;
  Calls().hooks[kRead] = [&](long descriptor, unsigned long count, void*) {
    if (descriptor == socket.DescriptorNumber()) most = std::max(most, count);
    return std::nullopt;
  };
  socket.Deliver(Plain('D'));
  Calls() = {};
  EXPECT_EQ(most, 4096U);
}

TEST(HostSocket, IsNotDelayedAndAsksAfterASilentHost) {
  const ConnectedSocket socket(nullptr);
  const std::array<int, 3> options[] = {{IPPROTO_TCP, TCP_NODELAY, 1},
                                        {SOL_SOCKET, SO_KEEPALIVE, 1},
                                        {IPPROTO_TCP, TCP_KEEPIDLE, 60},
                                        {IPPROTO_TCP, TCP_KEEPINTVL, 15},
                                        {IPPROTO_TCP, TCP_KEEPCNT, 4}};
  for (const auto& [level, name, wanted] : options) {
    int value = -1;
    socklen_t size = sizeof value;
    getsockopt(socket.DescriptorNumber(), level, name, &value, &size);
    EXPECT_EQ(value, wanted) << level << " " << name;
  }
}

TEST(HostSocket, HandlerMayRunThePumpAndReleaseTheSocket) {
  std::string order;
  std::unique_ptr<ConnectedSocket> socket;
  std::weak_ptr<int> of_the_handler;
  auto token = std::make_shared<int>();
  of_the_handler = token;
  socket = std::make_unique<ConnectedSocket>([&, held = std::move(token)](cQuorvaneCommand& message) {
    order += message.Command;
    if (message.Command == "3") socket.reset();
    EXPECT_FALSE(of_the_handler.expired());
    if (message.Command != "1") return;
    socket->Host.Link()->Send(Plain('3') + Plain('4'));
    platform::EventPump::Instance().Run(50);
    order += '.';
  });
  socket->Host.Link()->Send(Plain('1') + Plain('2'));
  EXPECT_TRUE(WaitFor([&socket] { return socket == nullptr; }));
  EXPECT_EQ(order, "1.23");
}

}  // namespace

#include "host/host_socket.h"

#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "tests/bytes.h"
#include "tests/connected_socket.h"
#include "tests/system_calls.h"

namespace {

std::string Plain(char command) {
  return ControllerCommand(std::string(1, command)).GetRawCommand();
}

std::string Device(std::string_view address, std::string_view command) {
  return DeviceCommand(address, command, "17").GetRawCommand();
}

class HostStream : public testing::Test {
 protected:
  std::string messages;  // for each, its kind and command, or a device command's address and command
  ConnectedSocket socket{[this](const cQuorvaneCommand& message) {
    messages += message.isMultiPacket ? "J " + message.GetMulti("addr") + " " + message.GetMulti("mcmd")
                                      : message.Header + " " + message.Command;
    messages += ", ";
  }};

  // Sends bytes from the host and makes one data event.
  void DeliverOnce(const std::string& bytes) {
    ASSERT_EQ(send(socket.Host.Link()->Number(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    platform::EventPump::Instance().RunOnly(socket);
  }
};

TEST_F(HostStream, SplitsPacketsInOrderAndContinuesAfterBadOnes) {
  const std::string zero_length = std::string("X\0", 2) + Plain('Q').substr(2);
  const struct {
    std::string stream;
    std::string messages;
    std::size_t malformed = 0;  // the number of log entries that report a malformed packet
  } cases[] = {
      {Plain('Q') + Device("0102", "ON") + "j" + Device("0304", "OFF").substr(1), "X Q, J 0102 ON, J 0304 OFF, "},
      {"E\x02" + Plain('D') + "A\x03x?\x02" + Plain('Q'), "X D, X Q, ", 3},
      {"X\x01\x02" + Plain('D'), "X , X D, ", 1},  // shorter than its header: the rest is the next packet
      {Bytes("4A 0B 00 80 61 64 64 72 09 00 31") + "L\x05\x02hi", "J 1 , L , "},
      {Bytes("4A 04 00 80"), "", 1},  // four bytes are not yet a multipacket
      {std::string(cQuorvaneDeviceSocket::kHostReceiveSize, '\0'), "", 1},
      {zero_length + Plain('D') + zero_length + Plain('D'), "X D, X D, ", 2},
      // The packet after a zero length is found even if the receive splits it, and if it contains another.
      {std::string("X\0", 2) + std::string(cQuorvaneDeviceSocket::kHostReceiveSize - 14, '?') +
           RawDataCommand("X\x02").GetRawCommand(),
       "X X, ", 1}};
  for (const auto& c : cases) {
    socket.Deliver(c.stream);
    EXPECT_EQ(std::exchange(messages, {}), c.messages);
    EXPECT_EQ(socket.Logged(), std::vector<std::string>(c.malformed, "4 torvy: Received malformed packet from host"))
        << c.messages;
    EXPECT_EQ(socket.Buffer, "");
  }
}

TEST_F(HostStream, ReportsSizeOfIncompleteMultipacket) {
  const std::string packet = Device("0102", std::string(272, 'w'));
  socket.Deliver(packet.substr(0, 3));  // not yet more than four bytes
  socket.Deliver(packet.substr(3, 2));
  socket.Deliver(packet.substr(5, 200));
  socket.Deliver(packet.substr(205) + "J\x04");
  EXPECT_THAT(socket.Logged(), testing::ElementsAre("2 bufflength is 5 packet length is: 300",
                                                    "2 bufflength is 205 packet length is: 300"));
  EXPECT_EQ(socket.Buffer, "J\x04");
}

TEST_F(HostStream, DataEventMakesOneReceiveOf4KiB) {
  std::string packets;
  for (int i = 0; i < 3000; ++i) packets += "X\x02";
  DeliverOnce(packets);
  EXPECT_EQ(messages.size(), 2048 * std::string_view("X , ").size());
  EXPECT_TRUE(WaitFor([this] { return messages.size() == 3000 * std::string_view("X , ").size(); }));
}

TEST_F(HostStream, HoldsAtMostTheLargestPacketAfterZeroLength) {
  Calls().hooks[kIoctl] = [](long, unsigned long request, void* waiting) -> std::optional<long> {
    if (request != FIONREAD) return std::nullopt;
    *static_cast<int*>(waiting) = 1;
    return 0;
  };
  const std::string zeros(4096, '\0');
  for (std::size_t receive = 0; receive < 16; ++receive) {
    EXPECT_EQ(socket.Buffer.size(), receive * zeros.size());
    DeliverOnce(zeros);
  }
  Calls() = {};
  EXPECT_EQ(socket.Buffer, "");
  EXPECT_THAT(socket.Logged(), testing::ElementsAre("4 torvy: Received malformed packet from host"));
}

// With these sizes, a receive ends in every part of a multipacket's header.
TEST(HostSocket, CompletesPacketSplitByItsReceive) {
  constexpr std::size_t kStream = std::size_t{1} << 20;
  for (const std::size_t size : {257U, 258U, 259U, 260U, 516U, 1028U, 65535U}) {
    std::size_t complete = 0;
    ConnectedSocket socket(
        [&](const cQuorvaneCommand& message) { complete += message.GetMulti("fill").size() + 10 == size; });
    cQuorvaneCommand message;
    message.SetMulti("fill", std::string(size - 10, 'f'));
    const std::string packet = message.GetRawCommand();
    ASSERT_EQ(packet.size(), size);
    const std::size_t packets = kStream / size;
    for (std::size_t i = 0; i < packets; ++i) socket.Host.Link()->Send(packet);
    EXPECT_TRUE(WaitFor([&] { return complete == packets; })) << size;
    for (const std::string& line : socket.Logged()) EXPECT_THAT(line, testing::StartsWith("2 bufflength is ")) << size;
  }
}

TEST(HostSocket, SendsLogPacketsAndCommands) {
  ConnectedSocket socket(nullptr);
  socket.Host.Link()->OnChange = nullptr;  // keep the received bytes
  socket.SendLog("", 2);
  socket.SendLog("ready", 255);
  socket.SendLog(std::string(249, 'x'), 4);
  socket.SendLog(std::string(300, 'y'), 2);
  socket.SendLog(std::string(248, 'z') + "\xC3\xA4", 4);
  cQuorvaneCommand command = DeviceCommand("0102", "ON", "1");
  cQuorvaneCommand acknowledgement = command.MakeAck();
  socket.SendCommand(command);
  socket.SendCommand(acknowledgement);
  const std::string expected = Bytes("4C 03 02") + "L\x08\xFFready" + "L\xFC\x04" + std::string(249, 'x') +
                               "L\xFC\x02" + std::string(249, 'y') + "L\xFB\x04" + std::string(248, 'z') +
                               command.GetRawCommand() + acknowledgement.GetRawCommand();
  EXPECT_TRUE(WaitFor([&] { return socket.Host.Link()->Received.size() >= expected.size(); }));
  EXPECT_EQ(socket.Host.Link()->Received, expected);
}

TEST(HostSocket, HandlerMayRunPumpAndReleaseSocket) {
  std::string order;
  std::unique_ptr<ConnectedSocket> socket;
  socket = std::make_unique<ConnectedSocket>([&, held = std::make_shared<int>()](const cQuorvaneCommand& message) {
    const std::weak_ptr<int> handler = held;
    order += message.Command;
    if (message.Command == "3") socket.reset();
    EXPECT_FALSE(handler.expired());
    if (message.Command != "1") return;
    socket->Host.Link()->Send(Plain('3') + Plain('4'));
    platform::EventPump::Instance().Run(std::chrono::milliseconds(50));
    order += '.';
  });
  socket->Host.Link()->Send(Plain('1') + Plain('2'));
  EXPECT_TRUE(WaitFor([&socket] { return socket == nullptr; }));
  EXPECT_EQ(order, "1.23");
}

}  // namespace

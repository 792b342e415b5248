#include "host/host_socket.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include "tests/support.h"

namespace {

using namespace std::string_literals;

std::string Plain(char command) {
  return ControllerCommand(std::string(1, command)).GetRawCommand();
}

std::string Device(std::string_view address, std::string_view command) {
  return DeviceCommand(address, command, "17").GetRawCommand();
}

// Gives access to the protected bytes of a received message.
struct Probe : cQuorvaneCommand {
  static constexpr auto kBytes = &Probe::RawCommonCommand;
};

class HostStream : public testing::Test {
 protected:
  std::string packets;  // each in angle brackets, a multipacket in braces
  ConnectedSocket socket{[this](const cQuorvaneCommand& message) {
    const std::string& bytes = message.*Probe::kBytes;
    packets += message.isMultiPacket ? "{" + bytes + "}" : "<" + bytes + ">";
  }};

  // Sends bytes from the host and makes one data event.
  void DeliverOnce(const std::string& bytes) {
    ASSERT_EQ(send(socket.Host.Link()->DescriptorNumber(), bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
    platform::EventPump::Instance().RunOnly(socket);
  }
};

TEST_F(HostStream, SplitsPacketsInOrderAndContinuesAfterBadOnes) {
  const std::string on = Device("0102", "ON");
  const std::string large(252, 'x');
  const std::string zero_length = "X\0"s + Plain('Q').substr(2);
  const std::string contains_another = RawDataCommand("X\x02").GetRawCommand();
  const struct {
    std::string stream;
    std::string split;          // the packets, and the bytes held until more arrive
    std::size_t malformed = 0;  // the number of log entries that report a malformed packet
  } cases[] = {
      {"X", "X"},
      {"X\x03", "X\x03"},
      {"X\x03yx\x02Y\x02y\x02M\x02m\x02N\x02n\x02L\x05\x02hil\x02",
       "<X\x03y><x\x02><Y\x02><y\x02><M\x02><m\x02><N\x02><n\x02><L\x05\x02hi><l\x02>"},
      {"X\xFF" + large, "X\xFF" + large},
      {"X\xFF" + large + "x", "<X\xFF" + large + "x>"},
      {"X\x01\x02" + Plain('D'), "<X><" + Plain('D') + ">", 1},  // shorter than its header: the rest is the next packet
      {"E\x02" + Plain('D') + "A\x03x?\x02" + on + "j" + on.substr(1),
       "<" + Plain('D') + ">{" + on + "}{j" + on.substr(1) + "}", 3},
      {"J", "J"},
      {"J\x05xx", "J\x05xx"},
      {"J\x02", "", 1},  // four bytes are not yet a multipacket
      {"j\x04xx", "", 1},
      {"J\0"s, "J\0"s},  // the length may be a multiple of 256
      {"J\0\1\x80"s, "J\0\1\x80"s},
      {"j\0\1\x80"s + large, "{j\0\1\x80"s + large + "}"},
      {"J\3\0\x80k"s, "{J\3\0}\x80k"s},
      {"J\0\0\x80k"s, "", 1},
      // After a zero length, the next complete packet follows.
      {std::string(cQuorvaneDeviceSocket::kHostReceiveSize, '\0'), "", 1},
      {"X\0\0\0X\x02"s, "<X\x02>", 1},
      {"X\0n\x01"s, "<n>\x01", 1},
      {"X\0"s + on, "{" + on + "}", 1},
      {"X\0J\1\0\0k"s, "{J}", 2},  // shorter than its header; another zero length follows
      {"X\0J\1\0\0"s, "", 1},      // four bytes are not a multipacket
      {"X\0J\0\0\0Y\x02"s, "<Y\x02>", 1},
      {"X\0J\x09\0\0kX\x03y"s, "<X\x03y>", 1},  // an incomplete multipacket
      {"X\0X\x06yY\x02"s, "<Y\x02>", 1},        // an incomplete plain packet
      {"X\0E\x02A\x02L\x03xM\x02"s, "<M\x02>", 1},
      {zero_length + Plain('D') + zero_length + Plain('D'), "<" + Plain('D') + "><" + Plain('D') + ">", 2},
      // The next packet is found even if the receive splits it, or if it contains another packet.
      {"X\0"s + std::string(cQuorvaneDeviceSocket::kHostReceiveSize - 14, '?') + contains_another,
       "<" + contains_another + ">", 1}};
  for (const auto& c : cases) {
    socket.Deliver(c.stream);
    EXPECT_EQ(std::exchange(packets, {}) + std::exchange(socket.Buffer, {}), c.split);
    EXPECT_EQ(socket.Logged(), std::vector(c.malformed, "4 torvy: Received malformed packet from host"s))
        << testing::PrintToString(c.stream.substr(0, 8));
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
  DeliverOnce(std::string(5000, 'L'));  // packets of 76 bytes
  EXPECT_EQ(packets.size() + socket.Buffer.size(), 4096U + 4096 / 76 * std::string_view("<>").size());
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

// The receive ends after one to seven bytes of a multipacket, up to four of which could be parsed as a plain packet, or
// before its last byte.
TEST_F(HostStream, CompletesPacketSplitByItsReceive) {
  for (const std::size_t size : {257U, 258U, 259U, 260U, 516U}) {
    const std::string packet = Device("0102", std::string(size - 28, 'w'));
    for (const std::size_t received : std::initializer_list<std::size_t>{1, 2, 3, 4, 5, 6, 7, size - 1}) {
      std::string stream(cQuorvaneDeviceSocket::kHostReceiveSize - received, 'x');
      for (std::size_t at = 0; at < stream.size(); at += 255) {
        stream[at] = 'X';
        stream[at + 1] = static_cast<char>(std::min<std::size_t>(stream.size() - at, 255));
      }
      socket.Deliver(stream + packet);
      EXPECT_TRUE(packets.ends_with("{" + packet + "}")) << size << ", received " << received;
      EXPECT_THAT(socket.Logged(), testing::IsEmpty());
    }
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

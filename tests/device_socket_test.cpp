#include "host/device_socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/simulated_host.h"
#include "tests/kit.h"

namespace {

using testing::ElementsAre;

constexpr const char* kMalformed = "4 torvy: Received malformed packet from host";

// A message in short: its kind and command, or the address and command of a device command.
std::string InShort(const cQuorvaneCommand& message) {
  if (!message.isMultiPacket) return message.Header + " " + message.Command;
  return "J " + message.GetMulti("addr") + " " + message.GetMulti("mcmd");
}

class Framing : public testing::Test {
 protected:
  std::vector<std::string> messages;
  ConnectedSocket socket{[this](cQuorvaneCommand& message) { messages.push_back(InShort(message)); }};

  std::vector<std::string> TakeMessages() { return std::exchange(messages, {}); }

  // The complaints that the peer got, without the ones about packets that are not yet whole.
  std::vector<std::string> TakeComplaints(std::size_t count) {
    std::vector<std::string> complaints;
    WaitFor([&] {
      complaints = ConnectedSocket::LogLines(socket.Peer()->Received);
      std::erase_if(complaints, [](const std::string& line) { return line.starts_with("2 bufflength is "); });
      return complaints.size() >= count;
    });
    socket.Peer()->Received.clear();
    return complaints;
  }
};

std::string Plain(char command) {
  return std::string(
             "X\x10"
             "a@LX\x40"
             "0") +
         command + "00" + std::string(3, '\0') + " \r";
}

std::string Device(std::string_view address, std::string_view command) {
  return DeviceCommand(address, command, "17").GetRawCommand();
}

TEST_F(Framing, IsTheSameHoweverTheStreamIsCut) {
  const std::string lower_j = "j" + Device("0304", "OFF").substr(1);
  const struct {
    const char* name;
    std::string stream;
    std::vector<std::string> messages;
    std::size_t malformed;
  } corpus[] = {
      {"plain packets run together", Plain('Q') + Plain('D'), {"X Q", "X D"}, 0},
      {"both kinds run together",
       Device("0102", "ON") + Plain('D') + lower_j,
       {"J 0102 ON", "X D", "J 0304 OFF"},
       0},
      {"long multipacket", Device("0102", std::string(300, 'w')), {"J 0102 " + std::string(300, 'w')}, 0},
      {"multiple of 256 bytes",
       Device("0102", std::string(484, 'w')),
       {"J 0102 " + std::string(484, 'w')},
       0},
      {"error packet between", "E\x02" + Plain('D') + "A\x03x" + Plain('Q'), {"X D", "X Q"}, 2},
      {"kinds that are none", "?\x02" + Plain('D'), {"X D"}, 1},
      {"length below a head", "X\x01\x02" + Plain('D'), {"X ", "X D"}, 1},
      {"truncated entries", Bytes("4A 0B 00 80 61 64 64 72 09 00 31") + Plain('D'), {"J 1 ", "X D"}, 0},
      {"log packet", "L\x05\x02hi" + Plain('D'), {"L ", "X D"}, 0},
  };
  for (const auto& c : corpus) {
    SCOPED_TRACE(c.name);
    socket.Deliver(c.stream);
    EXPECT_EQ(TakeMessages(), c.messages);
    EXPECT_EQ(TakeComplaints(c.malformed), std::vector<std::string>(c.malformed, kMalformed));
    for (const char byte : c.stream) socket.Deliver({&byte, 1});
    EXPECT_EQ(TakeMessages(), c.messages);
    const std::size_t step = 1 + c.stream.size() / 64;
    for (std::size_t cut = 1; cut < c.stream.size(); cut += step) {
      socket.Deliver(std::string_view(c.stream).substr(0, cut));
      socket.Deliver(std::string_view(c.stream).substr(cut));
      EXPECT_EQ(TakeMessages(), c.messages) << "cut at " << cut;
    }
    EXPECT_TRUE(socket.Buffer.empty());
    TakeComplaints(0);
  }
}

TEST_F(Framing, TellsHowMuchOfAMultipacketIsThere) {
  const std::string packet = Device("0102", std::string(300, 'w'));
  ASSERT_EQ(packet.size(), 328U);
  socket.Deliver(packet.substr(0, 3));  // not yet more than four bytes
  socket.Deliver(packet.substr(3, 2));
  socket.Deliver(packet.substr(5, 295));
  EXPECT_THAT(socket.Logged(2), ElementsAre("2 bufflength is 5 packet length is: 328",
                                            "2 bufflength is 300 packet length is: 328"));
  socket.Deliver(packet.substr(300) + "J\x04");
  EXPECT_EQ(messages.size(), 1U);
  EXPECT_EQ(socket.Buffer, "J\x04");
  // Four bytes are no multipacket but a plain packet, of a kind that is none.
  socket.Deliver(Bytes("00 80"));
  EXPECT_EQ(socket.Logged(3).back(), kMalformed);
  EXPECT_TRUE(socket.Buffer.empty());
}

TEST_F(Framing, ZeroLengthsAreDroppedWithOneLineARun) {
  const std::string zeros(5000, '\0');
  const struct {
    std::string stream;
    std::size_t messages;
    std::size_t complaints;
    std::size_t left;
  } cases[] = {{zeros, 0, 1, 0},
               {std::string("X\0Y\0", 4) + Plain('D'), 1, 1, 0},
               {std::string("X\0", 2) + Plain('D') + zeros + Plain('D'), 2, 2, 0},
               {std::string("J\0\0\x80j\0\0\0", 8) + Plain('D'), 1, 1, 0},
               {std::string("X\0J\0\0\0", 6), 0, 1, 4}};  // may yet become a multipacket of 256 bytes
  for (const auto& c : cases) {
    socket.Buffer.clear();
    socket.Deliver(c.stream);
    EXPECT_EQ(TakeMessages().size(), c.messages);
    EXPECT_EQ(TakeComplaints(c.complaints).size(), c.complaints);
    EXPECT_EQ(socket.Buffer.size(), c.left);
  }
}

TEST(HostSocket, WritesLogPackets) {
  ConnectedSocket socket(nullptr);
  const std::string two_byte_letters = [] {
    std::string text;
    for (int i = 0; i < 150; ++i) text += "\xC3\xA4";
    return text;
  }();
  const struct {
    std::string text;
    std::int32_t level;
    std::string packet;
  } cases[] = {{"", 2, Bytes("4C 03 02")},
               {"ready", 255,
                "L\x08\xFF"
                "ready"},
               {std::string(249, 'x'), 4, "L\xFC\x04" + std::string(249, 'x')},
               {std::string(300, 'x'), 2, "L\xFC\x02" + std::string(249, 'x')},
               {two_byte_letters, 4, "L\xFB\x04" + two_byte_letters.substr(0, 248)}};
  for (const auto& c : cases) {
    socket.SendLog(c.text, c.level);
    EXPECT_TRUE(WaitFor([&] { return socket.Peer()->Received == c.packet; })) << c.text;
    socket.Peer()->Received.clear();
  }
  cQuorvaneCommand command = DeviceCommand("0102", "ON", "1");
  socket.SendCommand(command);
  EXPECT_TRUE(WaitFor([&] { return socket.Peer()->Received == command.GetRawCommand(); }));
}

TEST(HostSocket, MayBeReleasedByItsMessageHandler) {
  std::unique_ptr<ConnectedSocket> socket;
  int calls = 0;
  socket = std::make_unique<ConnectedSocket>([&](cQuorvaneCommand&) {
    ++calls;
    socket.reset();
  });
  socket->Peer()->Send(Plain('D') + Plain('D'));
  EXPECT_TRUE(WaitFor([&socket] { return socket == nullptr; }));
  EXPECT_EQ(calls, 1);
}

TEST(HostSocket, HandlerThatRunsThePumpGetsMessagesInOrder) {
  std::string order;
  ConnectedSocket* running = nullptr;
  ConnectedSocket socket([&](cQuorvaneCommand& message) {
    order += message.Command;
    if (message.Command != "1") return;
    running->Peer()->Send(Plain('3'));
    platform::EventPump::Instance().Run(50);
    order += '.';
  });
  running = &socket;
  socket.Peer()->Send(Plain('1') + Plain('2'));
  EXPECT_TRUE(WaitFor([&order] { return order.size() == 4; }));
  EXPECT_EQ(order, "1.23");
}

}  // namespace

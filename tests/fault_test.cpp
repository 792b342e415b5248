// What the driver does when something around it breaks: no byte is lost that could be kept, nothing spins or
// grows, and the process ends in order.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "platform/event_pump.h"
#include "tests/driver_run.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

class Faults : public DriverRun {
 protected:
  // Nothing that happened may have made the driver, which has ended, larger than this; sanitizers need room
  // of their own.
  static void ExpectBoundedMemory() {
    constexpr long kLimitKiB = 32 * 1024;
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    EXPECT_GT(used.ru_maxrss, 0);
    EXPECT_LT(used.ru_maxrss, kSanitized ? 10 * kLimitKiB : kLimitKiB);
  }

  // Processor time of the driver so far, in clock ticks.
  long ProcessorTime() const {
    std::ifstream stat("/proc/" + std::to_string(driver->Id()) + "/stat");
    std::string field;
    for (int i = 0; i < 13; ++i) stat >> field;
    long user = 0;
    long system = 0;
    stat >> user >> system;
    return user + system;
  }

  void ExpectNoSpin() const {
    const long before = ProcessorTime();
    platform::EventPump::Instance().Run(1000);
    EXPECT_LT(ProcessorTime() - before, sysconf(_SC_CLK_TCK) / 4);
  }

  // Device commands for units 0000 to 9999 in turn, and what is to reach the device.
  static std::pair<std::string, std::string> Stream(int count) {
    std::pair<std::string, std::string> stream;
    for (int i = 0; i < count; ++i) {
      const std::string address = std::to_string(10000 + i % 10000).substr(1);
      stream.first += DeviceCommand(address, "ON", "1").GetRawCommand();
      stream.second += address + "U";
    }
    return stream;
  }

  static std::string RawPackets(int count) {
    std::string packets;
    for (int i = 0; i < count; ++i) packets += RawDataCommand(std::string(244, 'r')).GetRawCommand();
    return packets;
  }
};

TEST_F(Faults, HostResets) {
  StartSerialAndWait();
  const linger at_once{1, 0};
  setsockopt(host.Link()->Number(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  host.Link()->Close();
  EXPECT_EQ(End(), 0);
  EXPECT_EQ(Console(), kPipeError);
}

TEST_F(Faults, HostClosesItsSendingHalfAfterAStream) {
  StartIPAndWait();
  const auto [packets, device_bytes] = Stream(20000);
  host.Link()->Send(packets);
  ASSERT_TRUE(WaitFor([this] { return host.Link()->Unsent() == 0; }));
  shutdown(host.Link()->Number(), SHUT_WR);
  EXPECT_EQ(End(), 0);
  EXPECT_EQ(Console(), kPipeError);
  EXPECT_TRUE(Got(NetworkDevice(), device_bytes));
}

TEST_F(Faults, HostNeverReads) {
  StartIPAndWait();
  host.Send(ControllerCommand("D"));
  ASSERT_TRUE(WaitFor([this] { return host.Link()->Unsent() == 0; }));
  // From here on the host's end is only written to, by its descriptor alone.
  const int link = dup(host.Link()->Number());
  host.Link()->Close();
  const std::string packets = Stream(1000).first;
  std::string_view rest;
  const bool failed = WaitFor([&] {
    if (rest.empty()) rest = packets;
    const ssize_t sent = send(link, rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent > 0) rest.remove_prefix(static_cast<std::size_t>(sent));
    NetworkDevice().Received.clear();
    return sent < 0 && errno != EAGAIN;
  });
  EXPECT_TRUE(failed);
  EXPECT_EQ(End(), 0);
  ExpectBoundedMemory();
  EXPECT_EQ(Console(), kPipeError);
  close(link);
}

TEST_F(Faults, HostFloodsWhileAQuitIsDue) {
  StartIPAndWait();
  const std::string packets = Stream(2000).first;
  host.Send(ControllerCommand("Q"));
  const bool ended = WaitFor([&] {
    if (host.Link()->Unsent() < packets.size()) host.Link()->Send(packets);
    NetworkDevice().Received.clear();
    return driver->Status().has_value();
  });
  EXPECT_TRUE(ended);
  EXPECT_EQ(End(), 0);
  ExpectBoundedMemory();
  EXPECT_EQ(Console(), "");
}

TEST_F(Faults, NetworkDeviceNeverReads) {
  StartIPAndWait();
  const int device = dup(NetworkDevice().Number());  // kept open, and read no more
  NetworkDevice().Close();
  host.Link()->Send(RawPackets(60000));
  ASSERT_TRUE(WaitFor([this] { return host.Link()->Unsent() == 0; }));
  host.Send(DeviceCommand("0102", "DIM", "1"));
  EXPECT_TRUE(Logged("unsupported command: DIM"));
  ExpectNoSpin();
  EXPECT_EQ(Quit(), 0);
  ExpectBoundedMemory();
  close(device);
}

TEST_F(Faults, NetworkDeviceNeverAnswers) {
  // A listener whose queue is full lets further connections wait.
  const int listening = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_EQ(listen(listening, 0), 0);
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  getsockname(listening, reinterpret_cast<sockaddr*>(&bound), &size);
  const int fills_the_queue[2]{socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0),
                               socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)};
  for (const int filler : fills_the_queue) connect(filler, reinterpret_cast<sockaddr*>(&bound), size);
  const auto* port_bytes = reinterpret_cast<const unsigned char*>(&bound) + 2;
  const int port = port_bytes[0] * 256 + port_bytes[1];
  StartIP(port);
  ExpectNoSpin();
  EXPECT_EQ(End(), 0);
  EXPECT_EQ(host.Log().size(), 1U);
  EXPECT_EQ(host.Log().back(),
            (SimulatedHost::LogLine{2, "IP Open  to 127.0.0.1:" + std::to_string(port) + " failed."}));
}

TEST_F(Faults, NetworkDeviceClosesWhileCommandsCome) {
  StartIPAndWait();
  const std::string packets = Stream(5000).first;
  host.Link()->Send(packets);
  ASSERT_TRUE(WaitFor([this] { return !NetworkDevice().Received.empty(); }));
  NetworkDevice().Close();
  host.Link()->Send(packets);
  host.Send(DeviceCommand("0102", "DIM", "1"));
  EXPECT_TRUE(Logged("unsupported command: DIM"));
  ExpectNoSpin();
  EXPECT_EQ(Quit(), 0);
  EXPECT_EQ(Console(), "");
}

TEST_F(Faults, TerminalIsHungUpWhileCommandsCome) {
  StartSerialAndWait();
  const std::string packets = Stream(5000).first;
  host.Link()->Send(packets);
  ASSERT_TRUE(WaitFor([this] { return !SerialDevice().Received.empty(); }));
  terminal.HangUp();
  host.Link()->Send(packets);
  host.Send(DeviceCommand("0102", "DIM", "1"));
  EXPECT_TRUE(Logged("unsupported command: DIM"));
  ExpectNoSpin();
  EXPECT_EQ(Quit(), 0);
}

TEST_F(Faults, SerialLineTakesNoByte) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(master) + unlockpt(master), 0);
  StartSerial(ptsname(master));
  WaitUntilReady();
  host.Link()->Send(RawPackets(2000));
  host.Send(DeviceCommand("0102", "DIM", "1"));
  EXPECT_TRUE(Logged("unsupported command: DIM"));
  ExpectNoSpin();
  EXPECT_EQ(Quit(), 0);
  ExpectBoundedMemory();
  close(master);
}

TEST_F(Faults, StandardDescriptorsAreClosed) {
  StartSerial({}, [] {
    for (const int number : {0, 1, 2}) close(number);
  });
  WaitUntilReady();
  host.Send(DeviceCommand("0102", "ON", "1"));
  EXPECT_TRUE(Got(SerialDevice(), "0102U"));
  host.Link()->Close();  // makes it print
  EXPECT_EQ(End(), 0);
  EXPECT_EQ(SerialDevice().Received, "0102U");
}

TEST_F(Faults, ConsoleIsAClosedPipe) {
  StartSerialAndWait();
  driver->Output().Close();
  host.Link()->Close();
  EXPECT_TRUE(WaitFor([this] { return driver->Status().has_value(); }));
  EXPECT_EQ(driver->Status(), 0);
}

TEST_F(Faults, EightDescriptorsAreEnough) {
  StartSerial({}, [] {
    const rlimit eight{8, 8};
    setrlimit(RLIMIT_NOFILE, &eight);
  });
  WaitUntilReady();
  host.Send(DeviceCommand("0102", "ON", "1"));
  EXPECT_TRUE(Got(SerialDevice(), "0102U"));
  EXPECT_EQ(Quit(), 0);
}

TEST_F(Faults, ProcessIsStoppedAndContinued) {
  StartSerialAndWait();
  const auto [packets, device_bytes] = Stream(500);
  driver->Signal(SIGSTOP);
  host.Link()->Send(packets);
  platform::EventPump::Instance().Run(3000);
  for (int i = 0; i < 20; ++i) {
    driver->Signal(SIGCONT);
    platform::EventPump::Instance().Run(2);
    driver->Signal(SIGSTOP);
  }
  driver->Signal(SIGCONT);
  EXPECT_TRUE(Got(SerialDevice(), device_bytes));
  EXPECT_EQ(Quit(), 0);
}

}  // namespace

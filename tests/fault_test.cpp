// What the driver does when something around it breaks: no byte is lost that could be kept, nothing spins or grows,
// and the process ends in order.

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
  std::string packets;       // device commands for the units 0000 to 4999
  std::string device_bytes;  // what they bring

  Faults() {
    for (int i = 0; i < 5000; ++i) {
      const std::string address = std::to_string(10000 + i).substr(1);
      packets += DeviceCommand(address, "ON", "1").GetRawCommand();
      device_bytes += address + "U";
    }
  }

  // Nothing that happened may have made the driver larger than this; sanitizers need room of their own.
  void ExpectOrderlyEnd(const char* console) {
    EXPECT_EQ(End(), 0);
    EXPECT_EQ(Console(), console);
    constexpr long kLimitKiB = 32 * 1024;
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    EXPECT_LT(used.ru_maxrss, kSanitized ? 10 * kLimitKiB : kLimitKiB);
  }
  // The driver still serves, at rest, and quits when it is asked to.
  void ExpectService() {
    host.Send(DeviceCommand("0102", "DIM", "1"));
    EXPECT_TRUE(Logged("unsupported command: DIM"));
    const long before = ProcessorTime();
    platform::EventPump::Instance().Run(1000);
    EXPECT_LT(ProcessorTime() - before, sysconf(_SC_CLK_TCK) / 4);
    host.Send(ControllerCommand("Q"));
    ExpectOrderlyEnd("");
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
  void SendAll(const std::string& bytes) {
    host.Link()->Send(bytes);
    ASSERT_TRUE(WaitFor([this] { return host.Link()->Unsent() == 0; }));
  }
  // Sends raw data until the driver ends or has taken so many packets.
  void SendRawData(int count) {
    const std::string packet = RawDataCommand(std::string(244, 'r')).GetRawCommand();
    std::string stream;
    for (int i = 0; i < count; ++i) stream += packet;
    SendAll(stream);
  }
};

TEST_F(Faults, HostResets) {
  StartSerialAndWait();
  const linger at_once{1, 0};
  setsockopt(host.Link()->Number(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  host.Link()->Close();
  ExpectOrderlyEnd(kPipeError);
}

TEST_F(Faults, HostClosesItsSendingHalfAfterAStream) {
  StartIPAndWait();
  SendAll(packets);
  shutdown(host.Link()->Number(), SHUT_WR);
  ExpectOrderlyEnd(kPipeError);
  EXPECT_TRUE(Got(NetworkDevice(), device_bytes));
}

TEST_F(Faults, HostNeverReads) {
  StartIPAndWait();
  SendAll(ControllerCommand("D").GetRawCommand());
  host.Link()->Paused = true;
  EXPECT_TRUE(WaitFor([this] {
    if (host.Link()->Unsent() < packets.size()) host.Link()->Send(packets);
    NetworkDevice().Received.clear();
    return driver->Status().has_value();
  }));
  ExpectOrderlyEnd(kPipeError);
}

TEST_F(Faults, HostFloodsWhileAQuitIsDue) {
  StartIPAndWait();
  host.Send(ControllerCommand("Q"));
  EXPECT_TRUE(WaitFor([this] {
    if (host.Link()->Unsent() < packets.size()) host.Link()->Send(packets);
    NetworkDevice().Received.clear();
    return driver->Status().has_value();
  }));
  ExpectOrderlyEnd("");
}

TEST_F(Faults, NetworkDeviceNeverReads) {
  StartIPAndWait();
  NetworkDevice().Paused = true;
  SendRawData(60000);
  ExpectService();
}

TEST_F(Faults, SerialLineTakesNoByte) {
  StartSerialAndWait();
  SerialDevice().Paused = true;
  SendRawData(2000);
  ExpectService();
}

TEST_F(Faults, NetworkDeviceClosesWhileCommandsCome) {
  StartIPAndWait();
  host.Link()->Send(packets);
  ASSERT_TRUE(WaitFor([this] { return !NetworkDevice().Received.empty(); }));
  NetworkDevice().Close();
  host.Link()->Send(packets);
  ExpectService();
}

TEST_F(Faults, TerminalIsHungUpWhileCommandsCome) {
  StartSerialAndWait();
  host.Link()->Send(packets);
  ASSERT_TRUE(WaitFor([this] { return !SerialDevice().Received.empty(); }));
  terminal.HangUp();
  host.Link()->Send(packets);
  ExpectService();
}

TEST_F(Faults, StandardDescriptorsAreClosed) {
  StartSerial({}, [] {
    for (const int number : {0, 1, 2}) close(number);
  });
  WaitUntilReady();
  host.Send(DeviceCommand("0102", "ON", "1"));
  EXPECT_TRUE(Got(SerialDevice(), "0102U"));
  host.Link()->Close();  // makes it print
  ExpectOrderlyEnd("");
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
  SendAll(packets);
  EXPECT_TRUE(Got(SerialDevice(), device_bytes));
  ExpectService();
}

TEST_F(Faults, ProcessIsStoppedAndContinued) {
  StartSerialAndWait();
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
  ExpectService();
}

}  // namespace

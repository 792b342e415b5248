#include "platform/serial_port.h"

#include <sys/ioctl.h>
#include <termios.h>

#include <filesystem>
#include <tuple>

#include "app/process_state.h"
#include "peers/pseudo_terminal.h"
#include "platform/clock.h"
#include "ports/serial_port_abstractor.h"
#include "tests/support.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

// A serial port with the driver's settings.
class Line : public Recording<SerialPort> {
 public:
  explicit Line(const PseudoTerminal& terminal) {
    EXPECT_TRUE(Find(terminal.Path()));
    SetDataBits(8);
    SetParity(ParityKind::kNone);
    SetSpeed(9600);
  }
};

class SerialPortTest : public testing::Test {
 protected:
  PseudoTerminal terminal;
  Line line{terminal};

  void TearDown() override { Calls() = {}; }

  termios Settings() {
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal.Line().DescriptorNumber(), &settings), 0);
    return settings;
  }
};

TEST_F(SerialPortTest, FindsPathsNamesAndLinks) {
  const std::string link = testing::TempDir() + "torvy-link-" + std::to_string(getpid());
  std::filesystem::create_symlink(terminal.Path(), link);
  for (const char* name : {"null", "/dev/null", link.c_str()}) EXPECT_TRUE(line.Find(name)) << name;
  EXPECT_TRUE(line.Open());
  std::filesystem::remove(link);
  for (const char* name : {"no-such-port", "", "/dev", "pts", "NULL", "/etc/passwd", "pts/ptmx"}) {
    EXPECT_FALSE(line.Find(name)) << name;  // a name with a slash is a path
  }
}

TEST_F(SerialPortTest, DriverOpensRawAt9600With8DataBitsAnd1StopBit) {
  termios settings = Settings();
  settings.c_cflag |= CSTOPB | CRTSCTS;
  settings.c_iflag |= IXON | IXOFF | ICRNL;
  settings.c_cc[VMIN] = settings.c_cc[VTIME] = 7;
  cfsetspeed(&settings, B300);
  ASSERT_EQ(tcsetattr(terminal.Line().DescriptorNumber(), TCSANOW, &settings), 0);
  const cSerialPortAbstractor port(terminal.Path());
  settings = Settings();
  constexpr tcflag_t kAsked = CSIZE | PARENB | CSTOPB | CRTSCTS | CREAD | CLOCAL;
  EXPECT_EQ(settings.c_cflag & kAsked, static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_iflag | settings.c_oflag | settings.c_lflag, 0U);
  EXPECT_EQ(settings.c_cc[VMIN], 1);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST_F(SerialPortTest, SetsStandardSpeedsAndRejectsUnsupportedSettings) {
  const std::pair<std::int32_t, speed_t> speeds[] = {
      {300, B300},     {600, B600},     {1200, B1200},   {2400, B2400},     {4800, B4800},
      {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {9600, B9600}};
  for (const auto& [bits_per_second, code] : speeds) {
    line.SetSpeed(bits_per_second);
    EXPECT_TRUE(line.Open());
    const termios settings = Settings();
    EXPECT_EQ(cfgetospeed(&settings), code);
  }
  // A pseudo-terminal always has 8 data bits and no parity.
  using enum SerialPort::ParityKind;
  const std::tuple<std::int32_t, std::int32_t, SerialPort::ParityKind> refused[] = {
      {9601, 8, kNone}, {9600, 4, kNone}, {9600, 9, kNone}, {9600, 7, kNone}, {9600, 8, kOdd}, {9600, 8, kEven}};
  for (const auto& [bits_per_second, data_bits, parity] : refused) {
    line.SetSpeed(bits_per_second);
    line.SetDataBits(data_bits);
    line.SetParity(parity);
    EXPECT_FALSE(line.Open()) << bits_per_second << " " << data_bits;
    EXPECT_EQ(line.LastErrorCode(), EINVAL);
    EXPECT_EQ((Settings().c_cflag & PARODD) != 0, parity == kOdd);
  }
  Calls().hooks[kGetTty] = [](long, unsigned long, void* settings) {  // the line does not apply the speed
    auto& applied = *static_cast<termios*>(settings);
    applied.c_cflag = CS8;
    cfsetspeed(&applied, B300);
    return 0L;
  };
  EXPECT_FALSE(Line(terminal).Open());
}

TEST_F(SerialPortTest, DeliversInputReceivedBeforeWriteFailed) {
  ASSERT_TRUE(line.Open());
  terminal.Line().Send("last words");
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(terminal.WaitForInput());
  Calls().hooks[kWrite] = [](auto...) { return Failure(EIO); };
  line.Write("0102U");
  EXPECT_TRUE(line.events.empty());
  ExpectQuietPump();
  EXPECT_THAT(line.events, ElementsAre("data last words", Error(EIO)));
}

// Time limits of a line that is slow, stuck or unplugged. Hooks replace the adapter's driver and advance the clock
// instead of waiting.
class SerialLimits : public SerialPortTest {
 protected:
  VirtualClock clock;
  int queued = 0;              // bytes not yet sent by the adapter
  nanoseconds stopped_for{0};  // how long the process is stopped during its next wait
  bool busy = false;           // the transmitter stays busy
  bool full = false;           // the line accepts no byte
  bool dtr = true;

  void SetUp() override {
    Calls().hooks[kIoctl] = [this](long, unsigned long request, void* argument) -> std::optional<long> {
      const auto number = static_cast<int*>(argument);
      if (request == TIOCMBIS || request == TIOCMBIC) dtr = request == TIOCMBIS && *number == TIOCM_DTR;
      if (request != TIOCOUTQ) return std::nullopt;
      *number = queued;
      return 0;
    };
    Calls().hooks[kPoll] = [this](long limit, auto...) { return Wait(milliseconds(limit), 0); };
    Calls().hooks[kDrain] = [this](auto...) { return busy || queued > 0 ? WaitForAlarm(Failure(EINTR)) : Wait({}, 0); };
    Calls().hooks[kFlush] = [this](auto...) {
      queued = 0;
      return std::nullopt;
    };
    Calls().hooks[kWrite] = [this](long, unsigned long count, void*) {
      return full ? Failure(EAGAIN) : static_cast<long>(count);
    };
    ASSERT_TRUE(line.Open());
  }
  void TearDown() override {
    EXPECT_FALSE(Calls().alarm.has_value());
    SerialPortTest::TearDown();
  }

  long Wait(nanoseconds time, long result) { return After(time + std::exchange(stopped_for, {}), result); }
  // Models a call that only a signal ends; without an alarm it would never return.
  long WaitForAlarm(long result) {
    EXPECT_TRUE(Calls().alarm.has_value()) << "blocks forever";
    return Wait(Calls().alarm.value_or(std::chrono::hours(1)), result);
  }
  // Makes the line accept one byte each time that the test clears `full`, and otherwise none, without an error.
  void AcceptByteByByte() {
    full = true;
    Calls().hooks[kWrite] = [this](auto...) { return std::exchange(full, true) ? Failure(EIO) + 1 : 1; };
  }
  static nanoseconds TimeOf(const std::function<void()>& function) {
    const auto start = MonotonicNow();
    function();
    return MonotonicNow() - start;
  }
  std::vector<std::string> Events() {
    line.Poll();
    return std::exchange(line.events, {});
  }
};

TEST_F(SerialLimits, StalledLineFailsAfterFiveSeconds) {
  const auto write = [this] { line.Write("0102U"); };
  const auto wait = [this] { line.WaitTransmitted(); };
  const std::pair<std::function<void()>, std::function<void()>> cases[] = {
      {[this] { full = true; }, write}, {[this] { queued = 5; }, wait}, {[this] { busy = true; }, wait}};
  for (const auto& [get_stuck, send] : cases) {
    ASSERT_TRUE(line.Open());
    full = busy = false;
    get_stuck();
    EXPECT_EQ(TimeOf(send), seconds(5));
    EXPECT_EQ(queued, 0);  // nothing is left for the next user of the line
    EXPECT_EQ(TimeOf(send), seconds(0));
    EXPECT_THAT(Events(), ElementsAre(Error(ETIMEDOUT)));
  }
  EXPECT_EQ(Calls().counts[kDrain], 100);  // the transmit wait sleeps 100 ms at a time
}

TEST_F(SerialLimits, ByteEveryFourSecondsIsProgress) {
  int waits = 0;  // of 100 ms each
  AcceptByteByByte();
  Calls().hooks[kPoll] = [&](long time, auto...) {
    if (++waits % 40 == 0) full = false;
    return Wait(milliseconds(time), 0);
  };
  EXPECT_EQ(TimeOf([this] { line.Write("0102U"); }), seconds(20));
  queued = 5;
  Calls().hooks[kDrain] = [&](auto...) {
    if (++waits % 40 == 0 && queued > 1) --queued;  // the last byte stays
    return waits == 1000 ? 0L : WaitForAlarm(Failure(EINTR));
  };
  EXPECT_EQ(TimeOf([this] { line.WaitTransmitted(); }), seconds(4 * 4 + 5));
  EXPECT_THAT(Events(), ElementsAre(Error(ETIMEDOUT)));
}

TEST_F(SerialLimits, TimeWhileStoppedDoesNotCount) {
  line.LimitOutput();
  full = true;
  Calls().hooks[kPoll] = [this](auto...) {
    full = false;
    return Wait({}, 1);
  };
  Calls().hooks[kDrain] = [this](auto...) { return stopped_for > seconds(0) ? WaitForAlarm(Failure(EINTR)) : 0; };
  for (const int unsent : {0, 5, 0}) {  // the process is stopped in the write, then in transmit waits
    queued = unsent;
    stopped_for = seconds(60);
    EXPECT_GE(TimeOf([this] { line.Write("0102U"), line.WaitTransmitted(); }), seconds(60));
    EXPECT_THAT(Events(), IsEmpty());
  }
}

TEST_F(SerialLimits, LocksLineForOneDriver) {
  queued = 1;
  Line second(terminal);
  EXPECT_FALSE(second.Open());
  EXPECT_EQ(queued, 1);  // the output belongs to the first driver
  line.Close();
  EXPECT_EQ(queued, 0);
  EXPECT_TRUE(second.Open());
  EXPECT_TRUE(second.Open());  // its own lock does not block it
}

TEST_F(SerialLimits, OpenAndCloseAreBounded) {
  Calls().hooks[kClose] = [this](long number, auto...) {
    if (number == line.DescriptorNumber()) WaitForAlarm(0);
    return std::nullopt;
  };
  EXPECT_EQ(TimeOf([this] { line.Close(); }), milliseconds(500));
  Calls().hooks[kOpen] = [this](auto...) { return WaitForAlarm(Failure(EINTR)); };
  EXPECT_EQ(TimeOf([this] { EXPECT_FALSE(line.Open()); }), seconds(5));
}

TEST_F(SerialLimits, AcceptsAdapterThatDoesNotReportItsQueue) {
  Calls().hooks[kIoctl] = [](long, unsigned long request, void*) { return request == TIOCOUTQ ? -1L : 0L; };
  line.WaitTransmitted();
  line.Close();
  EXPECT_EQ(Calls().counts[kDrain], 1);
  EXPECT_EQ(Calls().counts[kFlush], 0);
}

TEST_F(SerialLimits, PortAssertsDtrLimitsOutputAfterQuitAndFlushesOutput) {
  EXPECT_FALSE(dtr);
  line.Close();
  cSerialPortAbstractor port(terminal.Path());
  EXPECT_TRUE(dtr);
  AcceptByteByByte();
  Calls().hooks[kPoll] = [this](long limit, auto...) {
    full = false;
    return Wait(milliseconds(limit), 0);
  };
  const auto send_fifty = [&port] {
    for (int command = 0; command < 50; ++command) port.PortSendData("0102U");
  };
  EXPECT_EQ(TimeOf(send_fifty), seconds(25));
  State().QuitRequested = true;
  EXPECT_EQ(TimeOf(send_fifty), seconds(5));
  State() = {};
  ASSERT_TRUE(port.PortOpen());
  EXPECT_EQ(TimeOf(send_fifty), seconds(25));
  queued = 5;
  port.PortFlush();
  EXPECT_EQ(queued, 0);
}

}  // namespace
}  // namespace platform

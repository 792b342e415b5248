#include "platform/serial_port.h"
#include "platform/event_pump.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "peers/pseudo_terminal.h"
#include "peers/waiting.h"
#include "platform/clock.h"
#include "ports/serial_port_abstractor.h"
#include "tests/system_calls.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

class Line : public SerialPort {
 public:
  using SerialPort::DescriptorNumber;

  std::vector<std::string> events;

  Line() {
    SetDataBits(8);
    SetParity(ParityKind::kNone);
    SetSpeed(9600);
  }

 protected:
  void Event_DataAvailable() override { events.push_back("data " + ReadAll()); }
  void Event_Error() override {
    EXPECT_EQ(DescriptorNumber(), -1);
    events.push_back("error " + std::to_string(LastErrorCode()));
  }
};

class SerialPortTest : public testing::Test {
 protected:
  PseudoTerminal terminal;
  Line line;

  void SetUp() override { ASSERT_TRUE(line.Find(terminal.Path())); }
  termios Settings() {
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal.Line().Number(), &settings), 0);
    return settings;
  }
};

TEST_F(SerialPortTest, FindsPathsNamesAndLinks) {
  const std::string link = testing::TempDir() + "torvy-link-" + std::to_string(getpid());
  std::filesystem::create_symlink(terminal.Path(), link);
  const std::vector<std::string> found{link, "null", "/dev/null"};
  const std::vector<std::string> not_found{"no-such-port",           "", "/dev", "pts", "NULL", "/etc/passwd",
                                           terminal.Path().substr(5)};  // a slash makes it a path
  for (const std::string& name : found) EXPECT_TRUE(line.Find(name)) << name;
  for (const std::string& name : not_found) EXPECT_FALSE(line.Find(name)) << name;
  ASSERT_TRUE(line.Find(link));
  EXPECT_TRUE(line.Open());
  std::filesystem::remove(link);
  ASSERT_TRUE(line.Find("null"));
  EXPECT_FALSE(line.Open());
  EXPECT_EQ(line.LastErrorCode(), ENOTTY);
}

TEST_F(SerialPortTest, IsOpenedRawAt9600ByTheDriver) {
  termios settings = Settings();
  settings.c_cflag |= CSTOPB | CRTSCTS;
  settings.c_iflag |= IXON | IXOFF | ICRNL;
  cfsetospeed(&settings, B300);
  ASSERT_EQ(tcsetattr(terminal.Line().Number(), TCSANOW, &settings), 0);
  const cSerialPortAbstractor port(terminal.Path());
  settings = Settings();
  constexpr tcflag_t kAsked = CSIZE | PARENB | CSTOPB | CRTSCTS | CREAD | CLOCAL;
  EXPECT_EQ(settings.c_cflag & kAsked, static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
  EXPECT_EQ(settings.c_iflag | settings.c_oflag | settings.c_lflag, 0U);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(cfgetispeed(&settings), static_cast<speed_t>(B9600));
  EXPECT_EQ(settings.c_cc[VMIN], 1);
  EXPECT_EQ(settings.c_cc[VTIME], 0);
}

TEST_F(SerialPortTest, HasTheStandardSpeeds) {
  const std::pair<std::int32_t, speed_t> speeds[] = {
      {300, B300},     {600, B600},     {1200, B1200},   {2400, B2400},     {4800, B4800}, {9600, B9600},
      {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {9601, B0}};
  for (const auto& [bits_per_second, code] : speeds) {
    line.SetSpeed(bits_per_second);
    EXPECT_EQ(line.Open(), code != B0) << bits_per_second;
    const termios settings = Settings();
    EXPECT_TRUE(code == B0 || cfgetospeed(&settings) == code) << bits_per_second;
  }
}

TEST_F(SerialPortTest, RefusesSettingsThatTheLineCannotHave) {  // a pseudo-terminal has 8 bits and no parity always
  for (const std::int32_t bits : {4, 9, 7}) {
    line.SetDataBits(bits);
    EXPECT_FALSE(line.Open()) << bits;
    EXPECT_EQ(line.LastErrorCode(), EINVAL);
  }
  line.SetDataBits(8);
  for (const auto parity : {SerialPort::ParityKind::kOdd, SerialPort::ParityKind::kEven}) {
    line.SetParity(parity);
    EXPECT_FALSE(line.Open());
    EXPECT_EQ((Settings().c_cflag & PARODD) != 0, parity == SerialPort::ParityKind::kOdd);
  }
}

TEST_F(SerialPortTest, IsForOneDriverAtATime) {
  ASSERT_TRUE(line.Open());
  Line second;
  ASSERT_TRUE(second.Find(terminal.Path()));
  EXPECT_FALSE(second.Open());
  line.Close();
  EXPECT_TRUE(second.Open());
  EXPECT_TRUE(second.Open());  // its own lock does not shut it out
}

TEST_F(SerialPortTest, CarriesEveryByteBothWays) {
  ASSERT_TRUE(line.Open());
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  line.Write(all);
  line.WaitTransmitted();
  EXPECT_TRUE(WaitFor([&] { return terminal.Line().Received == all; }));
  terminal.Line().Send(all);
  EXPECT_TRUE(WaitFor([&] { return !line.events.empty(); }));
  EXPECT_THAT(line.events, ElementsAre("data " + all));
}

TEST_F(SerialPortTest, FlushDiscardsInputAndLeavesTheOtherSideItsOutput) {
  ASSERT_TRUE(line.Open());
  line.Write("0102U");
  terminal.Line().Send("noise");
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(terminal.WaitForInput());
  EXPECT_EQ(line.Flush(), 5U);
  EXPECT_EQ(line.Flush(), 0U);
  EXPECT_TRUE(WaitFor([&] { return terminal.Line().Received == "0102U"; }));
  EXPECT_TRUE(line.events.empty());
}

TEST_F(SerialPortTest, HangUpIsOneErrorAndNoSpin) {
  for (const bool found_by_writing : {true, false}) {
    PseudoTerminal pulled_out;
    Line hung_up;
    ASSERT_TRUE(hung_up.Find(pulled_out.Path()) && hung_up.Open());
    const int number = hung_up.DescriptorNumber();
    pulled_out.HangUp();
    if (found_by_writing) hung_up.Write("lost");
    EXPECT_TRUE(hung_up.events.empty());
    const clock_t used_before = clock();
    EventPump::Instance().Run(300);
    EXPECT_LT(clock() - used_before, CLOCKS_PER_SEC / 10);
    EXPECT_EQ(fcntl(number, F_GETFD), -1);  // an adapter that is gone can be plugged in again under the same name
    hung_up.Write("dropped");
    hung_up.WaitTransmitted();
    hung_up.Poll();
    EXPECT_THAT(hung_up.events, ElementsAre("error " + std::to_string(found_by_writing ? EIO : ECONNRESET)));
  }
}

// A pseudo-terminal whose driver answers as an adapter's would. Time passes only where the line is waited for.
class AdapterTest : public SerialPortTest {
 protected:
  int queued = 0;          // bytes that the adapter has not sent
  int sent_each_time = 0;  // how many it sends before it is asked again
  milliseconds between_questions{10};
  bool dtr = true;
  int drains = 0;
  int flushes = 0;

  void SetUp() override {
    SerialPortTest::SetUp();
    Calls().on_ioctl = [this](int, unsigned long request, void* argument) -> std::optional<int> {
      if (request == TIOCMBIS || request == TIOCMBIC)
        dtr = request == TIOCMBIS && *static_cast<int*>(argument) == TIOCM_DTR;
      if (request != TIOCOUTQ) return std::nullopt;
      queued -= std::min(queued, sent_each_time);
      *static_cast<int*>(argument) = queued;
      return After(between_questions, 0);
    };
    Calls().on_poll = [](int limit) { return After(milliseconds(limit), 0); };
    Calls().on_tcdrain = [this](int) {
      ++drains;
      return std::optional(0);
    };
    Calls().before_tcflush = [this](int) {
      ++flushes;
      queued = 0;
    };
    ASSERT_TRUE(line.Open());
  }
  void TearDown() override {
    struct sigaction alarm{};
    sigaction(SIGALRM, nullptr, &alarm);
    EXPECT_EQ(alarm.sa_handler, SIG_DFL);  // it is no longer taken for the end of a call
    EXPECT_FALSE(Calls().alarm.has_value());
    Calls() = {};
  }

  // What a call does that only a signal ends: without an alarm it would never return.
  static void BlockUntilTheAlarm() {
    ASSERT_TRUE(Calls().alarm.has_value()) << "blocks for ever";
    EXPECT_LE(*Calls().alarm, SerialPort::kPatience);
    Calls().time_passed += *Calls().alarm;
  }
  // The time that passes in a call of the line.
  template <typename Function>
  static std::chrono::nanoseconds TimeOf(Function&& function) {
    const auto start = MonotonicNow();
    function();
    return MonotonicNow() - start;
  }
  std::vector<std::string> Events() {
    line.Poll();
    return line.events;
  }
  const std::vector<std::string> timed_out{"error " + std::to_string(ETIMEDOUT)};
};

TEST_F(AdapterTest, DriversPortAssertsDtrAndDiscardsWhatItLeaves) {
  EXPECT_FALSE(dtr);
  line.Close();
  auto port = std::make_unique<cSerialPortAbstractor>(terminal.Path());
  EXPECT_TRUE(dtr);
  queued = 5;
  port.reset();
  EXPECT_EQ(flushes, 1);
}

TEST_F(AdapterTest, WaitsUntilTheLastByteHasLeftAsLongAsBytesLeave) {
  queued = 10;
  sent_each_time = 1;
  between_questions = SerialPort::kPatience - milliseconds(500);
  EXPECT_GT(TimeOf([this] { line.WaitTransmitted(); }), 5 * SerialPort::kPatience);
  EXPECT_EQ(queued, 0);
  EXPECT_EQ(drains, 1);
  EXPECT_EQ(flushes, 0);
  EXPECT_THAT(Events(), testing::IsEmpty());
}

TEST_F(AdapterTest, MayNotTellWhatItHasQueued) {
  Calls().on_ioctl = [](int, unsigned long request, void*) { return std::optional(request == TIOCOUTQ ? -1 : 0); };
  line.WaitTransmitted();
  line.Close();
  EXPECT_EQ(drains, 1);
  EXPECT_EQ(flushes, 0);
  EXPECT_THAT(Events(), testing::IsEmpty());
}

TEST_F(AdapterTest, QueueThatDoesNotMoveFailsTheLine) {
  queued = 5;
  EXPECT_EQ(std::chrono::round<std::chrono::seconds>(TimeOf([this] { line.WaitTransmitted(); })).count(), 5);
  EXPECT_EQ(drains, 0);
  EXPECT_EQ(flushes, 1);  // what it did not take is not kept for whoever opens it next
  EXPECT_THAT(Events(), timed_out);
}

TEST_F(AdapterTest, TransmitterThatStaysBusyFailsTheLine) {
  Calls().on_tcdrain = [this](int) {
    ++drains;
    BlockUntilTheAlarm();
    return Failure(EINTR);
  };
  EXPECT_GE(TimeOf([this] { line.WaitTransmitted(); }), SerialPort::kPatience);
  line.WaitTransmitted();
  EXPECT_EQ(drains, 1);
  EXPECT_THAT(Events(), timed_out);
}

TEST_F(AdapterTest, LineThatTakesNothingIsFailed) {
  EXPECT_GE(TimeOf([this] { line.Write(std::string(1 << 20, 'x')); }), SerialPort::kPatience);
  line.Write("dropped at once");
  EXPECT_THAT(Events(), timed_out);
}

TEST_F(AdapterTest, DeliversWhatCameBeforeAWriteFailed) {
  Calls().on_poll = nullptr;
  terminal.Line().Send("last words");
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(terminal.WaitForInput());
  Calls().on_write = [](int, std::size_t) { return Failure(EIO); };
  line.Write("0102U");
  line.Poll();
  line.Poll();
  EXPECT_THAT(line.events, ElementsAre("data last words", "error " + std::to_string(EIO)));
}

TEST_F(AdapterTest, WriteIsPatientAsLongAsBytesAreTaken) {
  int refusals = 0;
  Calls().on_write = [&](int, std::size_t) { return ++refusals % 2 == 0 ? 1 : Failure(EAGAIN); };
  Calls().on_poll = [](int limit) { return After(milliseconds(limit - 1), 1); };
  EXPECT_GT(TimeOf([this] { line.Write("0102U"); }), 4 * SerialPort::kPatience);
  EXPECT_EQ(refusals, 10);
  EXPECT_THAT(Events(), testing::IsEmpty());
}

TEST_F(AdapterTest, NeitherOpeningNorClosingBlocksForLong) {
  int closed = 0;
  Calls().before_close = [&](int number) {
    if (number != line.DescriptorNumber()) return;
    ++closed;
    BlockUntilTheAlarm();
    EXPECT_EQ(Calls().alarm, milliseconds(500));
  };
  queued = 5;
  line.Close();
  EXPECT_EQ(closed, 1);
  EXPECT_EQ(flushes, 1);
  int opened = 0;
  Calls().before_open = [&opened](const char*) {
    ++opened;
    BlockUntilTheAlarm();
  };
  EXPECT_TRUE(line.Open());
  EXPECT_EQ(opened, 1);
}

}  // namespace
}  // namespace platform

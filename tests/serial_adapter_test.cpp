// What the serial port does on adapters that stay busy, take nothing or are slow.

#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>

#include "platform/ticks.h"
#include "tests/serial_kit.h"
#include "tests/system_calls.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

// A pseudo-terminal whose driver answers as an adapter's would. Time passes only where the line is waited for.
class AdapterTest : public SerialPortTest {
 protected:
  int queued = 0;          // bytes that the adapter has not sent
  int sent_each_time = 0;  // how many it sends before it is asked again
  bool dtr = false;
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
      Calls().time_passed += milliseconds(10);
      return 0;
    };
    Calls().on_poll = [](int limit) {
      Calls().time_passed += milliseconds(limit);
      return std::optional(0);
    };
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
  void TearDown() override { Calls() = {}; }

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

TEST_F(AdapterTest, AssertsOrDropsDtr) {
  EXPECT_TRUE(dtr);
  line.SetDtr(false);
  ASSERT_TRUE(line.Open());
  EXPECT_FALSE(dtr);
}

TEST_F(AdapterTest, WaitsUntilTheLastByteHasLeft) {
  queued = 5;
  sent_each_time = 1;
  line.WaitTransmitted();
  EXPECT_EQ(queued, 0);
  EXPECT_EQ(drains, 1);
  EXPECT_EQ(flushes, 0);
  EXPECT_FALSE(Calls().alarm.has_value());
}

TEST_F(AdapterTest, IsPatientAsLongAsBytesLeave) {
  queued = 10;
  sent_each_time = 1;
  Calls().on_ioctl = [answer = Calls().on_ioctl](int number, unsigned long request, void* argument) {
    if (request == TIOCOUTQ) Calls().time_passed += SerialPort::kPatience - milliseconds(500);
    return answer(number, request, argument);
  };
  EXPECT_GT(TimeOf([this] { line.WaitTransmitted(); }), 5 * SerialPort::kPatience);
  EXPECT_EQ(drains, 1);
  EXPECT_THAT(Events(), testing::IsEmpty());
}

TEST_F(AdapterTest, QueueThatDoesNotMoveFailsTheLine) {
  queued = 5;
  EXPECT_GE(TimeOf([this] { line.WaitTransmitted(); }), SerialPort::kPatience);
  EXPECT_EQ(drains, 0);
  EXPECT_EQ(flushes, 1);  // what it did not take is not kept for whoever opens it next
  EXPECT_THAT(Events(), timed_out);
}

TEST_F(AdapterTest, TransmitterThatStaysBusyFailsTheLine) {
  Calls().on_tcdrain = [this](int) {
    ++drains;
    BlockUntilTheAlarm();
    errno = EINTR;
    return std::optional(-1);
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
  Calls().on_write = [](int, std::size_t) {
    errno = EIO;
    return std::optional<ssize_t>(-1);
  };
  line.Write("0102U");
  line.Poll();
  line.Poll();
  EXPECT_THAT(line.events, testing::ElementsAre("data last words", "error " + std::to_string(EIO)));
}

TEST_F(AdapterTest, WriteIsPatientAsLongAsBytesAreTaken) {
  std::string taken;
  int refusals = 0;
  Calls().on_write = [&](int, std::size_t) -> std::optional<ssize_t> {
    errno = EAGAIN;
    return ++refusals % 2 == 0 ? 1 : -1;
  };
  Calls().on_poll = [](int limit) {
    Calls().time_passed += milliseconds(limit - 1);
    return std::optional(1);
  };
  EXPECT_GT(TimeOf([this] { line.Write("0102U"); }), 4 * SerialPort::kPatience);
  EXPECT_EQ(refusals, 10);
  EXPECT_THAT(Events(), testing::IsEmpty());
}

TEST_F(AdapterTest, HurryBoundsAllOutputTogether) {
  line.Hurry(std::chrono::seconds(7));
  line.Hurry(std::chrono::hours(1));  // too late
  int calls = 0;
  Calls().on_write = [&](int, std::size_t) -> std::optional<ssize_t> {
    errno = EAGAIN;
    return ++calls % 2 == 0 ? 1 : -1;
  };
  Calls().on_poll = [](int limit) {
    Calls().time_passed += std::min(milliseconds(limit), milliseconds(2000));
    return std::optional(1);
  };
  EXPECT_GE(TimeOf([this] { line.Write("0102U0304D"); }), std::chrono::seconds(7));
  EXPECT_LT(calls, 20);
  Calls().on_write = nullptr;
  EXPECT_THAT(Events(), timed_out);
}

TEST_F(AdapterTest, NeitherOpeningNorClosingBlocksForLong) {
  int closed = 0;
  Calls().before_close = [&](int number) {
    if (number != line.DescriptorNumber()) return;
    ++closed;
    BlockUntilTheAlarm();
    EXPECT_LE(Calls().alarm, SerialPort::kClosingPatience);
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

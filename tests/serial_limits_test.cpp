// What a serial line that is slow, stuck or pulled out costs. The adapter's driver answers from hooks, and time passes
// only where the line is waited for.

#include <sys/ioctl.h>

#include <algorithm>

#include "app/process_state.h"
#include "platform/clock.h"
#include "ports/serial_port_abstractor.h"
#include "tests/serial_fixture.h"
#include "tests/system_calls.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

class SerialLimits : public SerialPortTest {
 protected:
  int queued = 0;              // bytes that the adapter has not sent
  nanoseconds stopped_for{0};  // how long the process is stopped in its next wait
  bool busy = false;           // the transmitter never comes to rest
  bool takes_nothing = false;  // the line has no room
  bool dtr = true;

  void SetUp() override {
    SerialPortTest::SetUp();
    Calls().hooks[kIoctl] = [this](long, unsigned long request, void* argument) -> std::optional<long> {
      const auto number = static_cast<int*>(argument);
      if (request == TIOCMBIS || request == TIOCMBIC) dtr = request == TIOCMBIS && *number == TIOCM_DTR;
      if (request != TIOCOUTQ) return std::nullopt;
      *number = queued;
      return 0;
    };
    Calls().hooks[kPoll] = [this](long limit, unsigned long, void*) { return Wait(milliseconds(limit), 0); };
    Calls().hooks[kNanosleep] = [this](long time, unsigned long, void*) { return Wait(milliseconds(time), 0); };
    Calls().hooks[kTcdrain] = [this](long, unsigned long, void*) {
      return busy ? Wait(UntilTheAlarm(), Failure(EINTR)) : Wait({}, 0);
    };
    Calls().hooks[kTcflush] = [this](long, unsigned long, void*) {
      queued = 0;
      return std::nullopt;
    };
    Calls().hooks[kWrite] = [this](long, unsigned long count, void*) {
      return std::optional(takes_nothing ? Failure(EAGAIN) : static_cast<long>(count));
    };
    ASSERT_TRUE(line.Open());
  }
  void TearDown() override {
    EXPECT_FALSE(Calls().alarm.has_value());
    Calls() = {};
  }

  std::optional<long> Wait(nanoseconds time, long result) {
    const int error = errno;
    After(time + std::exchange(stopped_for, {}), 0);
    errno = error;
    return result;
  }
  // How long a call takes that only a signal ends: without an alarm it would never return.
  static nanoseconds UntilTheAlarm() {
    EXPECT_TRUE(Calls().alarm.has_value()) << "blocks for ever";
    return Calls().alarm.value_or(std::chrono::hours(1));
  }
  std::chrono::seconds TimeOf(const std::function<void()>& function) {
    const auto start = MonotonicNow();
    function();
    return std::chrono::round<seconds>(MonotonicNow() - start);
  }
  std::vector<std::string> Events() {
    line.Poll();
    return std::exchange(line.events, {});
  }
  const std::string timed_out = "error " + std::to_string(ETIMEDOUT);
};

TEST_F(SerialLimits, LineThatTakesNothingFailsAfterFiveSecondsOrAtTheDeadline) {
  const struct {
    std::function<void()> get_stuck;
    std::function<void()> wait;
  } cases[] = {{[this] { takes_nothing = true; }, [this] { line.Write("0102U"); }},
               {[this] { queued = 5; }, [this] { line.WaitTransmitted(); }},
               {[this] { busy = true; }, [this] { line.WaitTransmitted(); }}};
  for (const auto& c : cases) {
    for (const seconds limit : {seconds(5), seconds(2)}) {
      ASSERT_TRUE(line.Open());
      takes_nothing = busy = false;
      c.get_stuck();
      if (limit < SerialPort::kPatience) line.SetOutputDeadline(limit);
      EXPECT_EQ(TimeOf(c.wait), limit);
      EXPECT_EQ(queued, 0);  // nothing is kept for whoever opens the line next
      EXPECT_EQ(TimeOf(c.wait), seconds(0));
      EXPECT_THAT(Events(), ElementsAre(timed_out));
    }
  }
  EXPECT_GE(Calls().counts[kNanosleep], 6000);  // the transmit wait leaves the processor to others
}

TEST_F(SerialLimits, LineThatMovesIsWaitedForUntilTheDeadline) {
  int waits = 0;
  const auto moves_now_and_then = [&](long time, unsigned long, void*) {
    constexpr int kEach = 40;  // four seconds of the writes' waits
    if (++waits % kEach == 0) takes_nothing = false;
    if (waits % (kEach * 100) == 0) --queued;
    return Wait(milliseconds(time), 0);
  };
  Calls().hooks[kPoll] = Calls().hooks[kNanosleep] = moves_now_and_then;
  Calls().hooks[kWrite] = [this](long, unsigned long, void*) {
    return std::optional(std::exchange(takes_nothing, true) ? Failure(EAGAIN) : 1);
  };
  EXPECT_EQ(TimeOf([this] { line.Write("01020102U"); }), seconds(32));
  queued = 5;
  EXPECT_GE(TimeOf([this] { line.WaitTransmitted(); }), seconds(16));
  EXPECT_THAT(Events(), IsEmpty());

  line.SetOutputDeadline(seconds(7));
  line.SetOutputDeadline(seconds(70));  // the first one counts
  const auto send = [this] {
    line.Write("0102U");
    queued = 1;
    line.WaitTransmitted();
  };
  EXPECT_EQ(TimeOf([&send] {
              for (int command = 0; command < 10; ++command) send();
            }),
            seconds(7));
  EXPECT_THAT(Events(), ElementsAre(timed_out));
}

// The clock goes on while the process is stopped, but the line is not to blame for it.
TEST_F(SerialLimits, StoppedProcessFindsItsLineAsPatientAsBefore) {
  Calls().hooks[kWrite] = [this](long, unsigned long count, void*) {
    return std::optional(stopped_for > seconds(0) ? Failure(EAGAIN) : static_cast<long>(count));
  };
  line.SetOutputDeadline(seconds(7));
  stopped_for = seconds(60);
  EXPECT_GE(TimeOf([this] { line.Write("0102U"); }), seconds(60));
  queued = 5;
  Calls().hooks[kNanosleep] = [this](long time, unsigned long, void*) {
    queued = 0;
    return Wait(milliseconds(time), 0);
  };
  stopped_for = seconds(60);
  EXPECT_GE(TimeOf([this] { line.WaitTransmitted(); }), seconds(60));
  Calls().hooks[kTcdrain] = [this](long, unsigned long, void*) {
    return stopped_for > seconds(0) ? Wait(UntilTheAlarm(), Failure(EINTR)) : Wait({}, 0);
  };
  stopped_for = seconds(60);
  EXPECT_GE(TimeOf([this] { line.WaitTransmitted(); }), seconds(60));
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(SerialLimits, NeitherOpeningNorClosingBlocksForLong) {
  queued = 5;
  Calls().hooks[kClose] = [this](long number, unsigned long, void*) {
    if (number == line.DescriptorNumber()) Wait(UntilTheAlarm(), 0);
    return std::nullopt;
  };
  const auto start = MonotonicNow();
  line.Close();
  EXPECT_EQ(std::chrono::round<milliseconds>(MonotonicNow() - start), milliseconds(500));
  EXPECT_EQ(queued, 0);
  Calls().hooks[kOpen] = [this](long, unsigned long, void*) { return Wait(UntilTheAlarm(), Failure(EINTR)); };
  EXPECT_EQ(TimeOf([this] { EXPECT_FALSE(line.Open()); }), SerialPort::kPatience);
}

TEST_F(SerialLimits, AdapterMayNotTellWhatItHasQueued) {
  Calls().hooks[kIoctl] = [](long, unsigned long request, void*) {
    return std::optional(request == TIOCOUTQ ? -1L : 0L);
  };
  line.WaitTransmitted();
  line.Close();
  EXPECT_EQ(Calls().counts[kTcdrain], 1);
  EXPECT_EQ(Calls().counts[kTcflush], 0);
}

TEST_F(SerialLimits, DriversPortAssertsDtrDiscardsWhatItLeavesAndHurriesAfterAQuit) {
  EXPECT_FALSE(dtr);
  line.Close();
  auto port = std::make_unique<cSerialPortAbstractor>(terminal.Path());
  EXPECT_TRUE(dtr);
  Calls().hooks[kPoll] = [this](long limit, unsigned long, void*) {
    takes_nothing = false;
    return Wait(milliseconds(limit), 0);
  };
  Calls().hooks[kWrite] = [this](long, unsigned long, void*) {
    return std::optional(std::exchange(takes_nothing, true) ? Failure(EAGAIN) : 1);
  };
  const auto send_fifty = [&port] {
    for (int command = 0; command < 50; ++command) port->PortSendData("0102U");
  };
  EXPECT_EQ(TimeOf(send_fifty), seconds(25));
  State().QuitRequested = true;
  EXPECT_EQ(TimeOf(send_fifty), seconds(7));
  State() = {};
  ASSERT_TRUE(port->PortOpen());
  queued = 5;
  port.reset();
  EXPECT_EQ(queued, 0);
}

TEST_F(SerialLimits, DeliversWhatCameBeforeAWriteFailed) {
  Calls().hooks[kPoll] = nullptr;
  terminal.Line().Send("last words");
  Calls().hooks[kWrite] = nullptr;
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(terminal.WaitForInput());
  Calls().hooks[kWrite] = [](long, unsigned long, void*) { return std::optional(Failure(EIO)); };
  line.Write("0102U");
  line.Poll();
  line.Poll();
  EXPECT_THAT(line.events, ElementsAre("data last words", "error " + std::to_string(EIO)));
}

}  // namespace
}  // namespace platform

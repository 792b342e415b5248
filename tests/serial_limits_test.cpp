// Time limits of a serial line that is slow, stuck or unplugged. Hooks replace the adapter's driver and advance the
// clock instead of waiting.

#include <sys/ioctl.h>

#include <algorithm>

#include "app/process_state.h"
#include "platform/clock.h"
#include "ports/serial_port_abstractor.h"
#include "tests/stream_fixtures.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

class SerialLimits : public SerialPortTest {
 protected:
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
    Calls().hooks[kTcdrain] = [this](auto...) {
      return busy || queued > 0 ? WaitForAlarm(Failure(EINTR)) : Wait({}, 0);
    };
    Calls().hooks[kTcflush] = [this](auto...) {
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
  // Makes the line accept one byte at a time: each byte sets `full`, which the test clears.
  void TakeByteByByte() {
    Calls().hooks[kWrite] = [this](auto...) { return std::exchange(full, true) ? Failure(EAGAIN) : 1; };
  }
  seconds TimeOf(const std::function<void()>& function) {
    const auto start = MonotonicNow();
    function();
    return std::chrono::round<seconds>(MonotonicNow() - start);
  }
  std::vector<std::string> Events() {
    line.Poll();
    return std::exchange(line.events, {});
  }
};

TEST_F(SerialLimits, StalledLineFailsAfterFiveSeconds) {
  const struct {
    std::function<void()> get_stuck;
    std::function<void()> wait;
  } cases[] = {{[this] { full = true; }, [this] { line.Write("0102U"); }},
               {[this] { queued = 5; }, [this] { line.WaitTransmitted(); }},
               {[this] { busy = true; }, [this] { line.WaitTransmitted(); }}};
  for (const auto& c : cases) {
    ASSERT_TRUE(line.Open());
    full = busy = false;
    c.get_stuck();
    EXPECT_EQ(TimeOf(c.wait), seconds(5));
    EXPECT_EQ(queued, 0);  // nothing is left for the next user of the line
    EXPECT_EQ(TimeOf(c.wait), seconds(0));
    EXPECT_THAT(Events(), ElementsAre(Error(ETIMEDOUT)));
  }
  EXPECT_EQ(Calls().counts[kTcdrain], 100);  // the transmit wait sleeps 100 ms at a time
}

TEST_F(SerialLimits, LineThatAcceptsAByteEveryFourSecondsDoesNotFail) {
  int waits = 0;
  TakeByteByByte();
  Calls().hooks[kPoll] = [&](long time, auto...) {
    if (++waits % 40 == 0) full = false;  // 100 ms each
    return Wait(milliseconds(time), 0);
  };
  EXPECT_EQ(TimeOf([this] { line.Write("0102U"); }), seconds(16));
  queued = 5;
  Calls().hooks[kTcdrain] = [&](auto...) {
    if (queued == 0) return 0L;
    if (++waits % 40 == 0) --queued;  // 100 ms each
    return WaitForAlarm(Failure(EINTR));
  };
  EXPECT_EQ(TimeOf([this] { line.WaitTransmitted(); }), seconds(20));
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(SerialLimits, TimeWhileStoppedDoesNotCount) {
  line.LimitOutput();
  const auto send_in_a_stopped_process = [this] {
    stopped_for = seconds(60);
    EXPECT_GE(TimeOf([this] { line.Write("0102U"), line.WaitTransmitted(); }), seconds(60));
    EXPECT_THAT(Events(), IsEmpty());
  };
  full = true;
  Calls().hooks[kPoll] = [this](auto...) {
    full = false;
    return Wait({}, 1);
  };
  send_in_a_stopped_process();
  Calls().hooks[kTcdrain] = [this](auto...) { return stopped_for > seconds(0) ? WaitForAlarm(Failure(EINTR)) : 0; };
  for (const int unsent : {5, 0}) {
    queued = unsent;
    send_in_a_stopped_process();
  }
}

TEST_F(SerialLimits, OpenAndCloseAreBounded) {
  queued = 5;
  Line second(terminal);
  EXPECT_FALSE(second.Open());
  EXPECT_EQ(queued, 5);  // the output belongs to another driver
  Calls().hooks[kClose] = [this](long number, auto...) {
    if (number == line.DescriptorNumber()) WaitForAlarm(0);
    return std::nullopt;
  };
  const auto before = Calls().time_passed;
  line.Close();
  EXPECT_EQ(Calls().time_passed - before, milliseconds(500));
  EXPECT_EQ(queued, 0);
  Calls().hooks[kOpen] = [this](auto...) { return WaitForAlarm(Failure(EINTR)); };
  EXPECT_EQ(TimeOf([this] { EXPECT_FALSE(line.Open()); }), SerialPort::kStallTimeout);
}

TEST_F(SerialLimits, AcceptsAdapterThatDoesNotReportItsQueue) {
  Calls().hooks[kIoctl] = [](long, unsigned long request, void*) { return request == TIOCOUTQ ? -1L : 0L; };
  line.WaitTransmitted();
  line.Close();
  EXPECT_EQ(Calls().counts[kTcdrain], 1);
  EXPECT_EQ(Calls().counts[kTcflush], 0);
}

TEST_F(SerialLimits, PortAssertsDtrDiscardsUnsentOutputAndLimitsItAfterQuit) {
  EXPECT_FALSE(dtr);
  line.Close();
  auto port = std::make_unique<cSerialPortAbstractor>(terminal.Path());
  EXPECT_TRUE(dtr);
  TakeByteByByte();
  Calls().hooks[kPoll] = [this](long limit, auto...) {
    full = false;
    return Wait(milliseconds(limit), 0);
  };
  const auto send_fifty = [&port] {
    for (int command = 0; command < 50; ++command) port->PortSendData("0102U");
  };
  EXPECT_EQ(TimeOf(send_fifty), seconds(25));
  State().QuitRequested = true;
  EXPECT_EQ(TimeOf(send_fifty), seconds(5));
  State() = {};
  ASSERT_TRUE(port->PortOpen());
  queued = 5;
  port.reset();
  EXPECT_EQ(queued, 0);
}

TEST_F(SerialLimits, DeliversInputReceivedBeforeWriteFailed) {
  Calls() = {};
  terminal.Line().Send("last words");
  EventPump::Instance().RunOnly(terminal.Line());
  ASSERT_TRUE(terminal.WaitForInput());
  Calls().hooks[kWrite] = [](auto...) { return Failure(EIO); };
  line.Write("0102U");
  line.Poll();
  EXPECT_THAT(Events(), ElementsAre("data last words", Error(EIO)));
}

}  // namespace
}  // namespace platform

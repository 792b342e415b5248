#include "platform/event_pump.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <memory>

#include "platform/descriptor.h"
#include "platform/ticks.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

EventPump& Pump() {
  return EventPump::Instance();
}

// A pipe that is ready to read from the start, and is never read; what its handler does is up to the test.
class ReadySource : public EventSource {
 public:
  std::function<void()> handler;
  int calls = 0;

  ReadySource() { Open(true); }

  // Replaces the pipe; the new one has the same descriptor numbers as the old.
  void Open(bool ready) {
    ends_[0].Reset();
    ends_[1].Reset();
    int numbers[2];
    EXPECT_EQ(pipe(numbers), 0);
    ends_[0] = Descriptor(numbers[0]);
    ends_[1] = Descriptor(numbers[1]);
    EXPECT_EQ(write(numbers[1], "x", ready ? 1 : 0), ready ? 1 : 0);
    DescriptorChanged();
  }
  int Number() const { return ends_[0].Number(); }

 protected:
  Interest PrepareToWait() override { return {.descriptor = Number(), .read = true}; }
  void HandleReady() override {
    ++calls;
    if (handler) handler();
  }

 private:
  Descriptor ends_[2];
};

TEST(EventPump, HandlerDestroysItself) {
  auto first = std::make_unique<ReadySource>();
  ReadySource second;
  first->handler = [&first] { first.reset(); };
  Pump().Run(0);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second.calls, 1);
}

TEST(EventPump, HandlerDestroysAnotherThatIsReady) {
  ReadySource first;
  auto second = std::make_unique<ReadySource>();
  second->handler = [] { ADD_FAILURE() << "a dead source was called"; };
  first.handler = [&second] { second.reset(); };
  Pump().Run(0);
  EXPECT_EQ(first.calls, 1);
}

TEST(EventPump, ReadinessOfAReplacedDescriptorIsVoid) {
  ReadySource first;
  ReadySource second;
  const int number = second.Number();
  first.handler = [&second] { second.Open(false); };
  Pump().Run(0);
  ASSERT_EQ(second.Number(), number);
  EXPECT_EQ(second.calls, 0);
}

TEST(EventPump, HandlerAddsASourceAndRunsThePump) {
  ReadySource outer;
  std::unique_ptr<ReadySource> added;
  outer.handler = [&] {
    outer.handler = nullptr;
    added = std::make_unique<ReadySource>();
    Pump().Run(0);
  };
  Pump().Run(0);
  EXPECT_EQ(outer.calls, 2);
  EXPECT_EQ(added->calls, 1);
}

// However it is disturbed, a run lasts its time and ends, asleep unless there is something to do.
TEST(EventPump, RunsItsFullTime) {
  struct sigaction quiet{};
  quiet.sa_handler = [](int) {};
  sigaction(SIGALRM, &quiet, nullptr);
  for (const char* disturbance : {"none", "signals", "flood"}) {
    SCOPED_TRACE(disturbance);
    const bool signals = disturbance[0] == 's';
    const auto flood = disturbance[0] == 'f' ? std::make_unique<ReadySource>() : nullptr;
    const itimerval every_10_ms{{0, signals ? 10'000 : 0}, {0, signals ? 10'000 : 0}};
    setitimer(ITIMER_REAL, &every_10_ms, nullptr);
    const auto start = MonotonicNow();
    const clock_t used_before = clock();
    Pump().Run(300);
    EXPECT_GE(MonotonicNow() - start, milliseconds(300));
    EXPECT_LT(MonotonicNow() - start, milliseconds(5000));
    EXPECT_TRUE(flood || clock() - used_before < CLOCKS_PER_SEC / 10);
    EXPECT_TRUE(!flood || flood->calls > 1);
  }
  const itimerval none{};
  setitimer(ITIMER_REAL, &none, nullptr);
}

TEST(Ticks, CountSixtiethsAndDrawWithinTheRange) {
  const std::int64_t start = Ticks();
  Pump().Run(500);
  EXPECT_GE(Ticks() - start, 29);
  EXPECT_LT(Ticks() - start, 300);
  bool drawn[3]{};
  for (int i = 0; i < 200; ++i) drawn[RandomInRange(100, 102) - 100] = true;
  EXPECT_TRUE(drawn[0] && drawn[1] && drawn[2]);
}

}  // namespace
}  // namespace platform

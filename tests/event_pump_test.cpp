#include "platform/event_pump.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <memory>

#include "platform/descriptor.h"
#include "tests/virtual_clock.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

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

TEST(EventPump, HandlerDestroysItselfAndAnotherThatIsReady) {
  auto first = std::make_unique<ReadySource>();
  ReadySource second;
  auto third = std::make_unique<ReadySource>();
  third->handler = [] { ADD_FAILURE() << "a dead source was called"; };
  first->handler = [&] {
    third.reset();
    first.reset();
  };
  Pump().Run(0);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second.calls, 1);
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

TEST(EventPump, NestedPassTakesUpASourceDropsOneAndLeavesTheOuterPassItsOwn) {
  auto first = std::make_unique<ReadySource>();
  ReadySource second;
  ReadySource third;
  ReadySource fourth;
  std::unique_ptr<ReadySource> added;
  second.handler = [&] {
    if (second.calls > 1) return;
    first.reset();
    added = std::make_unique<ReadySource>();
    Pump().Run(0);
  };
  Pump().Run(0);
  for (const ReadySource* source : {&second, &third, &fourth}) EXPECT_EQ(source->calls, 2);  // once in each pass
  EXPECT_EQ(added->calls, 1);
}

// A wait that ends early leaves the rest of the run to others, down to less than a millisecond, and none is empty.
TEST(EventPump, InterruptedRunKeepsItsDeadlineAndDoesNotSpin) {
  VirtualClock clock;
  const std::vector<nanoseconds> parts{milliseconds(100), milliseconds(199), nanoseconds(999'999)};
  clock.before_wait = [&](const VirtualClock::Wait&) {
    if (clock.waits.size() > parts.size()) return 0;
    clock.Pass(parts[clock.waits.size() - 1]);
    return EINTR;
  };
  Pump().Run(300);
  std::vector<nanoseconds> limits;
  for (const auto& wait : clock.waits) limits.push_back(wait.limit);
  EXPECT_THAT(limits, testing::ElementsAre(milliseconds(300), milliseconds(200), milliseconds(1), nanoseconds(1)));
}

TEST(EventPump, WaitThatFailsBacksOffAndCallsNobody) {
  const ReadySource source;
  VirtualClock clock;
  clock.before_wait = [](const VirtualClock::Wait&) { return ENOMEM; };
  Pump().Run(25);
  EXPECT_EQ(source.calls, 0);
  EXPECT_EQ(clock.waits.size(), 3U);
}

TEST(EventPump, RunEndsOnTimeUnderAFlood) {
  ReadySource flood;
  VirtualClock clock;
  flood.handler = [&clock] { clock.Pass(milliseconds(1)); };
  Pump().Run(300);
  EXPECT_EQ(flood.calls, 300);
}

TEST(Descriptor, IsAboveTheStandardOnesAndNotInherited) {
  close(STDIN_FILENO);
  const Descriptor moved_up(open("/dev/null", O_RDONLY));
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  const Descriptor kept(dup2(moved_up.Number(), STDERR_FILENO + 100));
  for (const Descriptor* descriptor : {&moved_up, &kept}) {
    EXPECT_GT(descriptor->Number(), STDERR_FILENO);
    EXPECT_EQ(fcntl(descriptor->Number(), F_GETFD), FD_CLOEXEC);
  }
}

}  // namespace
}  // namespace platform

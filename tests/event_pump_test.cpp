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

// A source that is always ready; the test sets its handler.
class ReadySource : public EventSource {
 public:
  std::function<void()> handler;
  int calls = 0;

 protected:
  Interest PrepareToWait() override { return {.descriptors = {&descriptor_, 1}, .read = true}; }
  void HandleReady() override {
    ++calls;
    if (handler) handler();
  }

 private:
  const Descriptor descriptor_ = Descriptor(open("/dev/zero", O_RDONLY));
};

TEST(EventPump, HandlerMayDestroyItselfAndAnotherReadySource) {
  auto first = std::make_unique<ReadySource>();
  ReadySource second;
  auto third = std::make_unique<ReadySource>();
  third->handler = [] { ADD_FAILURE() << "a destroyed source was called"; };
  first->handler = [&] {
    third.reset();
    first.reset();
  };
  EventPump::Instance().Run(milliseconds(0));
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second.calls, 1);
}

TEST(EventPump, NestedPassMayAddAndRemoveSources) {
  auto first = std::make_unique<ReadySource>();
  ReadySource second;
  ReadySource third;
  std::unique_ptr<ReadySource> added;
  second.handler = [&] {
    if (second.calls > 1) return;
    first.reset();
    added = std::make_unique<ReadySource>();
    EventPump::Instance().Run(milliseconds(0));
  };
  EventPump::Instance().Run(milliseconds(0));
  for (const ReadySource* source : {&second, &third}) EXPECT_EQ(source->calls, 2);  // once per pass
  EXPECT_EQ(added->calls, 1);
}

// After an interruption, the pump waits for the remaining time, rounded up to a millisecond.
TEST(EventPump, InterruptedRunKeepsDeadlineAndDoesNotSpin) {
  VirtualClock clock;
  const std::vector<nanoseconds> parts{milliseconds(100), milliseconds(199), nanoseconds(999'999)};
  std::vector<milliseconds> limits;
  clock.before_wait = [&](milliseconds limit) {
    limits.push_back(limit);
    if (limits.size() > parts.size()) return 0;
    clock.Pass(parts[limits.size() - 1]);
    return EINTR;
  };
  EventPump::Instance().Run(milliseconds(300));
  EXPECT_THAT(limits, testing::ElementsAre(milliseconds(300), milliseconds(200), milliseconds(1), milliseconds(1)));
}

TEST(EventPump, FailedWaitBacksOffAndCallsNoSource) {
  const ReadySource source;
  VirtualClock clock;
  clock.before_wait = [](milliseconds) { return ENOMEM; };
  EventPump::Instance().Run(milliseconds(25));
  EXPECT_EQ(source.calls, 0);
  EXPECT_EQ(Calls().counts[kPoll], 3);
}

TEST(EventPump, RunEndsOnTimeUnderFlood) {
  ReadySource flood;
  VirtualClock clock;
  flood.handler = [&clock] { clock.Pass(milliseconds(1)); };
  EventPump::Instance().Run(milliseconds(300));
  EXPECT_EQ(flood.calls, 300);
}

TEST(Descriptor, IsAboveStandardDescriptorsAndCloseOnExec) {
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

#include "platform/event_pump.h"

#include <fcntl.h>
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
using std::chrono::seconds;

EventPump& Pump() {
  return EventPump::Instance();
}

// A pipe that is ready to read from the start; what its handler does is up to the test.
class PipeSource : public EventSource {
 public:
  std::function<void()> handler;
  int calls = 0;

  PipeSource() { Open(true); }

  // Replaces the pipe; the new one has the same descriptor numbers as the old.
  void Open(bool ready) {
    read_end_.Reset();
    write_end_.Reset();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    read_end_ = Descriptor(ends[0]);
    write_end_ = Descriptor(ends[1]);
    if (ready) {
      ASSERT_EQ(write(ends[1], "x", 1), 1);
    }
    DescriptorChanged();
  }
  void Drain() {
    char byte = 0;
    ASSERT_EQ(read(read_end_.Number(), &byte, 1), 1);
  }
  int Number() const { return read_end_.Number(); }

 protected:
  Interest PrepareToWait() override { return {.descriptor = read_end_.Number(), .read = true}; }
  void HandleReady() override {
    ++calls;
    if (handler) handler();
  }

 private:
  Descriptor read_end_;
  Descriptor write_end_;
};

std::chrono::nanoseconds ProcessorTime() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

TEST(EventPump, HandlerDestroysItself) {
  auto first = std::make_unique<PipeSource>();
  PipeSource second;
  first->handler = [&first] { first.reset(); };
  Pump().Run(0);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second.calls, 1);
}

TEST(EventPump, HandlerDestroysAnotherThatIsReady) {
  PipeSource first;
  auto second = std::make_unique<PipeSource>();
  int second_calls = 0;
  second->handler = [&second_calls] { ++second_calls; };
  first.handler = [&second] { second.reset(); };
  Pump().Run(0);
  EXPECT_EQ(second_calls, 0);
}

TEST(EventPump, ReadinessOfAReplacedDescriptorIsVoid) {
  PipeSource first;
  PipeSource second;
  const int number = second.Number();
  first.handler = [&] {
    first.Drain();
    second.Open(false);
  };
  Pump().Run(0);
  ASSERT_EQ(second.Number(), number);
  EXPECT_EQ(second.calls, 0);
}

TEST(EventPump, HandlerAddsASourceAndRunsThePump) {
  PipeSource outer;
  std::unique_ptr<PipeSource> added;
  outer.handler = [&] {
    outer.Drain();
    added = std::make_unique<PipeSource>();
    added->handler = [&added] { added->Drain(); };
    Pump().Run(0);
  };
  Pump().Run(0);
  EXPECT_EQ(outer.calls, 1);
  EXPECT_EQ(added->calls, 1);
}

TEST(EventPump, RunsItsFullTimeAsleep) {
  const auto start = MonotonicNow();
  const auto used_before = ProcessorTime();
  Pump().Run(300);
  EXPECT_GE(MonotonicNow() - start, milliseconds(300));
  EXPECT_LT(ProcessorTime() - used_before, milliseconds(100));
}

TEST(EventPump, EndsOnTimeUnderAFlood) {
  PipeSource never_drained;
  const auto start = MonotonicNow();
  Pump().Run(100);
  EXPECT_GE(MonotonicNow() - start, milliseconds(100));
  EXPECT_LT(MonotonicNow() - start, seconds(5));
  EXPECT_GT(never_drained.calls, 1);
}

TEST(EventPump, InterruptedWaitKeepsItsDeadline) {
  struct sigaction quiet {};
  quiet.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGALRM, &quiet, &before);
  const itimerval every_10_ms{{0, 10'000}, {0, 10'000}};
  setitimer(ITIMER_REAL, &every_10_ms, nullptr);
  const auto start = MonotonicNow();
  Pump().Run(300);
  const auto elapsed = MonotonicNow() - start;
  const itimerval none{};
  setitimer(ITIMER_REAL, &none, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_GE(elapsed, milliseconds(300));
  EXPECT_LT(elapsed, seconds(5));
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

TEST(Descriptor, IsNeverAStandardOne) {
  const int kept = fcntl(STDIN_FILENO, F_DUPFD, 10);
  close(STDIN_FILENO);
  {
    const Descriptor descriptor(open("/dev/null", O_RDONLY));
    EXPECT_GT(descriptor.Number(), STDERR_FILENO);
    EXPECT_EQ(fcntl(descriptor.Number(), F_GETFD), FD_CLOEXEC);
  }
  dup2(kept, STDIN_FILENO);
  close(kept);
}

}  // namespace
}  // namespace platform

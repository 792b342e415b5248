// The platform layer without its streams: the event pump, descriptors, signals, the timeout of blocking calls, the
// console, random numbers and text.

#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <set>

#include "platform/call_timeout.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/process.h"
#include "platform/random.h"
#include "tests/support.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using testing::ElementsAre;

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
  std::vector<long> limits;
  Calls().hooks[kPoll] = [&](long limit, auto...) -> std::optional<long> {
    limits.push_back(limit);
    if (limits.size() > parts.size()) return std::nullopt;
    return After(parts[limits.size() - 1], Failure(EINTR));
  };
  EventPump::Instance().Run(milliseconds(300));
  EXPECT_THAT(limits, ElementsAre(300, 200, 1, 1));
}

TEST(EventPump, FailedWaitBacksOffAndCallsNoSource) {
  const ReadySource source;
  const VirtualClock clock;
  Calls().hooks[kPoll] = [](auto...) { return Failure(ENOMEM); };
  EventPump::Instance().Run(milliseconds(25));
  EXPECT_EQ(source.calls, 0);
  EXPECT_EQ(Calls().counts[kPoll], 3);
}

TEST(Descriptor, IsAboveStandardDescriptorsAndCloseOnExec) {
  close(STDERR_FILENO);
  const Descriptor moved_up(open("/dev/null", O_RDONLY));
  EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1);
  const Descriptor kept(dup2(moved_up.Number(), STDERR_FILENO + 100));
  EXPECT_GT(moved_up.Number(), STDERR_FILENO);
  for (const int number : {moved_up.Number(), kept.Number()}) EXPECT_EQ(fcntl(number, F_GETFD), FD_CLOEXEC);
}

TEST(PrepareProcess, SurvivesFailedWritesAndOpensStandardDescriptors) {
  const auto run = [] {
    PrepareProcess();
    const rlimit nothing{};
    setrlimit(RLIMIT_FSIZE, &nothing);
    PrintLine("the console is a file, in which this does not fit");
    int ends[2];
    if (pipe(ends) != 0) return 1;
    close(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    PrintLine("nobody can read this");
    for (const int number : {0, 1, 2}) close(number);
    PrepareProcess();
    if (fcntl(0, F_GETFD) == -1 || fcntl(1, F_GETFD) == -1 || fcntl(2, F_GETFD) == -1) return 2;
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, SIGTTOU) == 1 ? 0 : 3;  // which would stop a process in the background
  };
  EXPECT_EQ(RunInChild(run).status, 0);
}

TEST(CallTimeout, InterruptsEveryBlockingCallAfterLimit) {
  const auto run = [] {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    std::signal(SIGALRM, SIG_DFL);
    sigprocmask(SIG_BLOCK, &alarm, nullptr);  // as it may have been inherited
    PrepareProcess();
    int ends[2];
    char byte = 0;
    if (pipe(ends) != 0) return 1;
    const CallTimeout timeout(milliseconds(1));
    for (int call = 0; call < 3; ++call) {
      if (read(ends[0], &byte, 1) != -1 || errno != EINTR) return 2;
    }
    return 0;
  };
  EXPECT_EQ(RunInChild(run).status, 0);
}

TEST(Random, DrawsEveryNumberInRange) {
  std::set<std::int32_t> drawn;
  for (int i = 0; i < 1000; ++i) drawn.insert(RandomInRange(1, 3));
  EXPECT_THAT(drawn, ElementsAre(1, 2, 3));
}

// A terminal may have room, but not for all bytes.
TEST(Console, BlocksForOneSecondInTotal) {
  const VirtualClock clock;
  Calls().hooks[kPoll] = [](long limit, auto...) { return limit > 0 ? 1L : 0L; };
  Calls().hooks[kWrite] = [](auto...) {
    EXPECT_TRUE(Calls().alarm.has_value()) << "blocks forever";
    return After(Calls().alarm.value_or(std::chrono::hours(1)), Failure(EINTR));
  };
  const auto start = MonotonicNow();
  for (int line = 0; line < 5; ++line) PrintLine("nobody reads this");
  EXPECT_EQ(MonotonicNow() - start, std::chrono::seconds(1));
}

TEST(Console, LosesNothingIfInterrupted) {
  Calls().error = [](Call call) { return Calls().counts.at(call) % 2 == 1 && call != kClose ? EINTR : 0; };
  testing::internal::CaptureStdout();
  PrintLine(std::string(1000, 'x'));
  Calls() = {};
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(1000, 'x') + "\n");
}

TEST(Text, ParsesNumbers) {
  const std::pair<std::string_view, std::int32_t> cases[] = {
      {"20300", 20300}, {"12ab", 12},  {"", 0},     {" 1", 0},  {"-1", 0},
      {"&h1Fg", 31},    {"&HfF", 255}, {"&B12", 1}, {"&o7", 0}, {"4294967297", INT32_MAX}};
  for (const auto& [text, value] : cases) EXPECT_EQ(ReadInt32(text), value) << text;
  EXPECT_EQ(ReadHexadecimal("FFFFFFFFFFFFFFFFF"), INT64_MAX);
}

TEST(Text, IgnoresCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(EqualIgnoringCase("sToP", "Stop"));
  for (const std::string_view other : {"STO", "STOP ", "ST\xD6P", "S\x14OP"})
    EXPECT_FALSE(EqualIgnoringCase("STOP", other));
  EXPECT_FALSE(EqualIgnoringCase("[\xC4", "{\xE4"));
}

TEST(Text, CountsCharactersNotBytes) {
  const std::array<std::string_view, 3> cases[] = {
      {"0102", "01", "02"},
      {"7", "7", "7"},
      {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8F\xA0", "\xC3\xA4\xE2\x82\xAC", "\xE2\x82\xAC\xF0\x9F\x8F\xA0"},
      {"\x80\xC3\x28", "\x80\xC3", "\xC3\x28"},  // invalid bytes count as one character each
      {"\xC0\xAF\x31", "\xC0\xAF", "\xAF\x31"},  // an overlong form
      {"\xED\xA0\x80", "\xED\xA0", "\xA0\x80"},  // a surrogate
      {"1\xF0\x9F\x8F", "1\xF0", "\x9F\x8F"}};   // an incomplete character
  for (const auto& [text, first_two, last_two] : cases) {
    EXPECT_EQ(FirstCharacters(text, 2), first_two);
    EXPECT_EQ(LastCharacters(text, 2), last_two);
  }
  EXPECT_EQ(TruncateToBytes("\xC3\xA4", 1), "");
  EXPECT_EQ(TruncateToBytes("ab\xC3\xA4", 3), "ab");
  EXPECT_EQ(TruncateToBytes("ab\xC3\xA4", 4), "ab\xC3\xA4");
  EXPECT_EQ(TruncateToBytes("ab\xFF\xFF", 3), "ab\xFF");
}

}  // namespace
}  // namespace platform

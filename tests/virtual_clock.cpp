#include "tests/virtual_clock.h"

#include <gtest/gtest.h>

#include "platform/clock.h"

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

int VirtualClock::OnWait(pollfd* polled, nfds_t count, nanoseconds limit) {
  waits.push_back({platform::MonotonicNow(), limit});
  if (before_wait) {
    if (const int error = before_wait(waits.back()); error > 0) return static_cast<int>(Failure(error));
  }
  constexpr milliseconds kRealSlice{1};
  constexpr int kRealSlices = 60'000;
  int ready = SystemPpoll(polled, count, nanoseconds::zero());
  if (ready != 0 || limit == nanoseconds::zero()) return ready;
  for (int slice = 0; ready == 0 && may_pass && !may_pass() && slice < kRealSlices; ++slice) {
    ready = SystemPpoll(polled, count, kRealSlice);
    if (slice + 1 == kRealSlices) ADD_FAILURE() << "timed out waiting for what the test expects";
  }
  if (ready == 0) ready = SystemPpoll(polled, count, nanoseconds::zero());
  if (ready == 0) Pass(limit);
  return ready;
}

std::vector<std::string> VirtualClock::Runs() const {
  std::vector<std::string> each;
  nanoseconds deadline{-1};
  for (const Wait& wait : waits) {
    if (wait.limit == nanoseconds::zero()) {
      if (each.empty()) each.emplace_back("0 ms");
      each.back() += ", poll";
    } else if (wait.start + wait.limit != deadline) {  // otherwise the same run continues
      deadline = wait.start + wait.limit;
      each.push_back(std::to_string(std::chrono::round<milliseconds>(wait.limit).count()) + " ms");
    }
  }
  std::vector<std::string> runs;
  for (std::size_t i = 0; i < each.size();) {
    const std::size_t first = i;
    while (i < each.size() && each[i] == each[first]) ++i;
    runs.push_back(i - first == 1 ? each[first] : std::to_string(i - first) + " x " + each[first]);
  }
  return runs;
}

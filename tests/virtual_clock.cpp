#include "tests/virtual_clock.h"

#include <gtest/gtest.h>

#include "platform/clock.h"

using std::chrono::milliseconds;

int VirtualClock::OnWait(pollfd* polled, nfds_t count, int limit) {
  waits.push_back({platform::MonotonicNow(), milliseconds(limit)});
  if (before_wait) {
    if (const int error = before_wait(waits.back()); error > 0) return static_cast<int>(Failure(error));
  }
  constexpr int kRealSlices = 60'000;
  int ready = SystemPoll(polled, count, 0);
  if (ready != 0 || limit == 0) return ready;
  for (int slice = 0; ready == 0 && may_pass && !may_pass() && slice < kRealSlices; ++slice) {
    ready = SystemPoll(polled, count, 1);
    if (slice + 1 == kRealSlices) ADD_FAILURE() << "timed out waiting for what the test expects";
  }
  if (ready == 0) ready = SystemPoll(polled, count, 0);
  if (ready == 0) {
    sleeps.push_back(waits.back());
    Pass(milliseconds(limit));
  }
  return ready;
}

std::vector<std::string> VirtualClock::Runs() const {
  std::vector<std::string> runs;
  for (std::size_t i = 0; i < sleeps.size();) {
    const std::size_t first = i;
    while (i < sleeps.size() && sleeps[i].limit == sleeps[first].limit) ++i;
    const std::string time = std::to_string(sleeps[first].limit / milliseconds(1)) + " ms";
    runs.push_back(i - first == 1 ? time : std::to_string(i - first) + " x " + time);
  }
  return runs;
}

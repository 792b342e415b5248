#include "tests/virtual_clock.h"

#include <gtest/gtest.h>

int VirtualClock::OnWait(pollfd* polled, nfds_t count, int limit) {
  const std::chrono::milliseconds time(limit);
  const int error = before_wait ? before_wait(time) : 0;
  if (error > 0) return static_cast<int>(Failure(error));
  int ready = SystemPoll(polled, count, 0);
  if (ready != 0 || limit == 0) return ready;
  for (int slices = 0; ready == 0 && may_pass && !may_pass(); ++slices) {
    ready = SystemPoll(polled, count, 1);
    if (slices < 60'000) continue;
    ADD_FAILURE() << "timed out waiting for what the test expects";
    break;
  }
  if (ready == 0) ready = SystemPoll(polled, count, 0);
  if (ready == 0) {
    sleeps.push_back(time);
    Pass(time);
  }
  return ready;
}

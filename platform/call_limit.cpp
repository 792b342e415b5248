#include "platform/call_limit.h"

#include <signal.h>
#include <time.h>

#include <algorithm>

#include "platform/ticks.h"

namespace platform {
namespace {

// Of the one limit that is in force.
struct sigaction action_before;
timer_t timer;
bool armed;

}  // namespace

CallLimit::CallLimit(std::chrono::nanoseconds limit) {
  // Without SA_RESTART, or the call would go on.
  struct sigaction end_calls{};
  end_calls.sa_handler = [](int) {};
  sigaction(SIGALRM, &end_calls, &action_before);
  sigevent alarm{};
  alarm.sigev_notify = SIGEV_SIGNAL;
  alarm.sigev_signo = SIGALRM;
  armed = timer_create(CLOCK_MONOTONIC, &alarm, &timer) == 0;
  if (!armed) return;
  // The alarm may come just before the call, or between two waits of one call: it is repeated.
  constexpr std::chrono::milliseconds kRepeated{20};
  const itimerspec times{ToTimespec(kRepeated), ToTimespec(std::max<std::chrono::nanoseconds>(limit, kRepeated))};
  timer_settime(timer, 0, &times, nullptr);
}

CallLimit::~CallLimit() {
  if (armed) timer_delete(timer);
  // An alarm that is still pending would end the process.
  struct sigaction ignore{};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGALRM, &ignore, nullptr);
  sigaction(SIGALRM, &action_before, nullptr);
}

}  // namespace platform

#include "platform/call_limit.h"

#include <signal.h>
#include <sys/time.h>

#include <algorithm>

namespace platform {
namespace {

// Of the one limit that is in force.
struct sigaction action_before;

timeval ToTimeval(std::chrono::microseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  timeval value{};
  value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
  value.tv_usec = static_cast<decltype(value.tv_usec)>((time - seconds).count());
  return value;
}

}  // namespace

CallLimit::CallLimit(std::chrono::nanoseconds limit) {
  // Without SA_RESTART, or the call would go on.
  struct sigaction end_calls{};
  end_calls.sa_handler = [](int) {};
  sigaction(SIGALRM, &end_calls, &action_before);
  // The alarm may come just before the call, or between two waits of one call: it is repeated. This kind of timer can
  // be had even where no signal may be queued.
  constexpr std::chrono::milliseconds kRepeated{20};
  const auto first =
      std::max<std::chrono::microseconds>(std::chrono::ceil<std::chrono::microseconds>(limit), kRepeated);
  const itimerval times{ToTimeval(kRepeated), ToTimeval(first)};
  setitimer(ITIMER_REAL, &times, nullptr);
}

CallLimit::~CallLimit() {
  const itimerval none{};
  setitimer(ITIMER_REAL, &none, nullptr);
  // An alarm that is still pending would end the process.
  struct sigaction ignore{};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGALRM, &ignore, nullptr);
  sigaction(SIGALRM, &action_before, nullptr);
}

}  // namespace platform

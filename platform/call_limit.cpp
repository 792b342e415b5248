#include "platform/call_limit.h"

#include <sys/time.h>

#include <algorithm>

namespace platform {
namespace {

timeval ToTimeval(std::chrono::microseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  timeval value{};
  value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
  value.tv_usec = static_cast<decltype(value.tv_usec)>((time - seconds).count());
  return value;
}

}  // namespace

CallLimit::CallLimit(std::chrono::nanoseconds limit) {
  // The alarm is repeated, because it may come just before the call or between two calls. setitimer needs no queued
  // signal, unlike timer_create, which can fail.
  constexpr std::chrono::milliseconds kRepeated{20};
  const auto first =
      std::max<std::chrono::microseconds>(std::chrono::ceil<std::chrono::microseconds>(limit), kRepeated);
  const itimerval times{ToTimeval(kRepeated), ToTimeval(first)};
  setitimer(ITIMER_REAL, &times, nullptr);
}

CallLimit::~CallLimit() {
  const itimerval none{};
  setitimer(ITIMER_REAL, &none, nullptr);
}

}  // namespace platform

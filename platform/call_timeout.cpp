#include "platform/call_timeout.h"

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

CallTimeout::CallTimeout(std::chrono::nanoseconds timeout) {
  // The alarm is repeated, because it may arrive just before the call or between two calls. setitimer needs no queued
  // signal, unlike timer_create, which can fail.
  constexpr std::chrono::microseconds kInterval{20'000};
  const auto first = std::chrono::ceil<std::chrono::microseconds>(timeout);
  const itimerval times{ToTimeval(kInterval), ToTimeval(std::max(first, kInterval))};
  setitimer(ITIMER_REAL, &times, nullptr);
}

CallTimeout::~CallTimeout() {
  const itimerval none{};
  setitimer(ITIMER_REAL, &none, nullptr);
}

}  // namespace platform

// A moment as the person at this computer would write it: local time, in the form of the environment's locale
// (the C locale's form when the environment names none that exists).

#ifndef PLATFORM_DATE_TIME_H_
#define PLATFORM_DATE_TIME_H_

#include <chrono>
#include <string>

namespace platform {

using DateTime = std::chrono::system_clock::time_point;

// Now on the wall clock, to a tick of the system's timer.
DateTime Now();

// The time of day with hours, minutes and seconds.
std::string LongTime(DateTime moment);

// The date in numbers.
std::string ShortDate(DateTime moment);

}  // namespace platform

#endif  // PLATFORM_DATE_TIME_H_

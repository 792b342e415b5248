// Local date and time as text, in the format of the environment's locale, or the C locale's if there is no such locale.

#ifndef PLATFORM_DATE_TIME_H_
#define PLATFORM_DATE_TIME_H_

#include <chrono>
#include <string>

namespace platform {

using DateTime = std::chrono::system_clock::time_point;

// The time of day with hours, minutes and seconds.
std::string LongTime(DateTime moment);

// The date in numbers.
std::string ShortDate(DateTime moment);

}  // namespace platform

#endif  // PLATFORM_DATE_TIME_H_

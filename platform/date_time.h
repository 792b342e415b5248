// Formats local dates and times in the environment's locale, or in the C locale if that does not exist.

#ifndef PLATFORM_DATE_TIME_H_
#define PLATFORM_DATE_TIME_H_

#include <chrono>
#include <string>

namespace platform {

using DateTime = std::chrono::system_clock::time_point;

// Returns the time of day with hours, minutes and seconds.
std::string LongTime(DateTime moment);

// Returns the date in digits.
std::string ShortDate(DateTime moment);

}  // namespace platform

#endif  // PLATFORM_DATE_TIME_H_

// Formats local dates and times in the environment's locale, or in the C locale if the former does not exist.

#pragma once

#include <chrono>
#include <string>

namespace platform {

using DateTime = std::chrono::system_clock::time_point;

// Returns the time of day in the locale's format, such as "18:05:09".
std::string LongTime(DateTime moment);

// Returns the date in the locale's format, such as "11/26/26".
std::string ShortDate(DateTime moment);

}  // namespace platform

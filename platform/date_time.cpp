#include "platform/date_time.h"

#include <locale.h>
#include <time.h>

#include <array>

namespace platform {
namespace {

std::string Format(DateTime moment, const char* format) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm local{};
  localtime_r(&seconds, &local);

  std::array<char, 128> text{};
  locale_t regional = newlocale(LC_TIME_MASK, "", locale_t{});
  const bool is_regional = regional != locale_t{};
  if (!is_regional) regional = newlocale(LC_TIME_MASK, "C", locale_t{});
  const std::size_t length = strftime_l(text.data(), text.size(), format, &local, regional);
  freelocale(regional);
  return {text.data(), length};
}

}  // namespace

std::string LongTime(DateTime moment) {
  return Format(moment, "%X");
}

std::string ShortDate(DateTime moment) {
  return Format(moment, "%x");
}

}  // namespace platform

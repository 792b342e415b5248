#include "platform/date_time.h"

#include <locale.h>
#include <time.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>  // has locale_t and what takes one, where the two above have not
#endif

#include <array>

namespace platform {
namespace {

// The locale that the environment names when it is first asked for. It costs half a millisecond to make.
locale_t Regional() {
  static const locale_t regional = [] {
    const locale_t named = newlocale(LC_TIME_MASK, "", locale_t{});
    return named != locale_t{} ? named : newlocale(LC_TIME_MASK, "C", locale_t{});
  }();
  return regional;
}

std::string Format(DateTime moment, const char* format) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 128> text{};
  return {text.data(), strftime_l(text.data(), text.size(), format, &local, Regional())};
}

}  // namespace

std::string LongTime(DateTime moment) {
  return Format(moment, "%X");
}

std::string ShortDate(DateTime moment) {
  return Format(moment, "%x");
}

}  // namespace platform

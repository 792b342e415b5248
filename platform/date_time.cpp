#include "platform/date_time.h"

#include <locale.h>
#include <time.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>  // declares locale_t and its functions where the two headers above do not
#endif

#include <array>

namespace platform {
namespace {

// Returns the environment's locale. Creates it in the first call and keeps it, because creating a locale is slow.
locale_t EnvironmentLocale() {
  static const locale_t locale = [] {
    const locale_t named = newlocale(LC_TIME_MASK, "", locale_t{});
    return named != locale_t{} ? named : newlocale(LC_TIME_MASK, "C", locale_t{});
  }();
  return locale;
}

std::string Format(DateTime moment, const char* format) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 128> text{};
  return {text.data(), strftime_l(text.data(), text.size(), format, &local, EnvironmentLocale())};
}

}  // namespace

std::string LongTime(DateTime moment) {
  return Format(moment, "%X");
}

std::string ShortDate(DateTime moment) {
  return Format(moment, "%x");
}

}  // namespace platform

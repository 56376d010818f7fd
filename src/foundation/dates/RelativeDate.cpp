#include "foundation/dates/RelativeDate.h"

#include <chrono>
#include <cstdlib>
#include <string_view>

#include "foundation/dates/internal/LocalTime.h"
#include "foundation/text/UnicodeLibrary.h"

namespace tasklane {

namespace {

/// The name of the locale in which dates are told. One that says nothing is English with a clock
/// of 24 hours.
std::string currentLocale() {
  std::string name;
  for (const char* const variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (name.empty() && value) name = value;
  }
  name.resize(std::min(name.find('.'), name.size()));
  return name.empty() || name == "C" || name == "POSIX" ? "en_GB" : name;
}

std::chrono::sys_days dayOf(const std::tm& fields) {
  using namespace std::chrono;
  return sys_days(year(fields.tm_year + 1900) / (fields.tm_mon + 1) / fields.tm_mday);
}

/// The zone of an offset, "GMT-00:44:30". The library's own rules may be older than the system's.
std::u16string zoneOfOffset(long offset) {
  const long seconds = std::abs(offset);
  std::string name = offset < 0 ? "GMT-" : "GMT+";
  for (const long part : {seconds / 3600, seconds / 60 % 60, seconds % 60})
    name.append(name.size() > 4 ? ":" : "")
        .append(part < 10 ? "0" : "")
        .append(std::to_string(part));
  return {name.begin(), name.end()};
}

std::u16string dateText(const UnicodeLibrary& unicode, const std::string& locale, NSDate date,
                        const std::u16string& zone, UDateFormatStyle day, UDateFormatStyle time) {
  UErrorCode fault = U_ZERO_ERROR;
  UDateFormat* const format =
      unicode.udat_open(time, day, locale.c_str(), zone.data(), static_cast<int32_t>(zone.size()),
                        nullptr, 0, &fault);
  if (U_FAILURE(fault)) return {};
  const std::u16string text = unicodeText([&](UChar* buffer, int32_t capacity, UErrorCode* status) {
    return unicode.udat_format(format, date.time_since_epoch().count() * 1000, buffer, capacity,
                               nullptr, status);
  });
  unicode.udat_close(format);
  return text;
}

/// "yesterday", "today" or "tomorrow" for -1, 0 or 1.
std::u16string dayWord(const UnicodeLibrary& unicode, const std::string& locale, double days) {
  UErrorCode fault = U_ZERO_ERROR;
  URelativeDateTimeFormatter* const format = unicode.ureldatefmt_open(
      locale.c_str(), nullptr, UDAT_STYLE_LONG, UDISPCTX_CAPITALIZATION_NONE, &fault);
  if (U_FAILURE(fault)) return {};
  const std::u16string text = unicodeText([&](UChar* buffer, int32_t capacity, UErrorCode* status) {
    return unicode.ureldatefmt_format(format, days, UDAT_REL_UNIT_DAY, buffer, capacity, status);
  });
  unicode.ureldatefmt_close(format);
  return text;
}

}  // namespace

std::string relativeDateText(NSDate date) {
  const auto local = localTime(date), today = localTime(Clock::now());
  if (!local || !today) return {};
  const UnicodeLibrary* const unicode = UnicodeLibrary::shared();
  if (!unicode) {
    char text[64];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &*local)};
  }
  const std::string locale = currentLocale();
  const std::u16string zone = zoneOfOffset(local->tm_gmtoff);
  const auto days = (dayOf(*local) - dayOf(*today)).count();
  return unicode->utf8((std::abs(days) <= 1
                            ? dayWord(*unicode, locale, static_cast<double>(days))
                            : dateText(*unicode, locale, date, zone, UDAT_MEDIUM, UDAT_NONE)) +
                       u' ' + dateText(*unicode, locale, date, zone, UDAT_NONE, UDAT_SHORT));
}

}  // namespace tasklane

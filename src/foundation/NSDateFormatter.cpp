#include "foundation/NSDateFormatter.h"

#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "foundation/LocalTime.h"

namespace tasklane {

namespace {

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

/// The name of the locale in which dates are written.
std::string currentLocale() {
  for (const char* const name : {"LC_ALL", "LC_TIME", "LANG"})
    if (std::string value = environment(name); !value.empty()) return value;
  return "C";
}

/// The name of the current time zone, such as "America/Denver"; empty when the system does not say.
std::string currentZone() {
  constexpr std::string_view folder = "zoneinfo/";
  std::string zone;
  if (const char* const set = std::getenv("TZ")) {
    zone = *set ? set : "UTC";
    if (zone.starts_with(':')) zone.erase(0, 1);
    if (zone.starts_with('/') && zone.find(folder) == zone.npos) return {};
  } else {
    std::error_code fault;
    zone = std::filesystem::canonical("/etc/localtime", fault).string();
    if (zone.find(folder) == zone.npos) return {};
  }
  const std::size_t place = zone.rfind(folder);
  return place == zone.npos ? zone : zone.substr(place + folder.size());
}

UDate milliseconds(NSDate date) { return date.time_since_epoch().count() * 1000; }

}  // namespace

/// The library's formatter is made when it is first needed, because that takes milliseconds, and
/// anew when the locale or the time zone has changed.
struct NSDateFormatter::State {
  std::string pattern;
  std::string locale, zone;
  std::unique_ptr<icu::SimpleDateFormat> formatter;
  bool zoneIsKnown = true;

  /// The formatter for a moment: a zone that has no name here (such as TZ="<+0530>-5:30") is the
  /// offset that the system tells for that moment.
  icu::SimpleDateFormat* formatterAt(NSDate moment) {
    std::string nowLocale = currentLocale(), nowZone = currentZone();
    if (!formatter || locale != nowLocale || zone != nowZone) {
      locale = std::move(nowLocale);
      zone = std::move(nowZone);
      make();
    }
    if (formatter && !zoneIsKnown) {
      const auto local = localTime(moment);
      const auto offset = static_cast<int32_t>(local ? local->tm_gmtoff * 1000 : 0);
      formatter->adoptTimeZone(std::make_unique<icu::SimpleTimeZone>(offset, "Local").release());
    }
    return formatter.get();
  }

  void make() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale named = locale == "C" || locale == "POSIX"
                                  ? icu::Locale("en", "US", "POSIX")
                                  : icu::Locale::createCanonical(locale.c_str());
    formatter = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                        named, status);
    if (U_FAILURE(status)) {
      formatter.reset();
      return;
    }
    std::unique_ptr<icu::TimeZone> timeZone(
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone)));
    zoneIsKnown = *timeZone != icu::TimeZone::getUnknown();
    formatter->adoptTimeZone(timeZone.release());
    formatter->setLenient(false);
    formatter->setBooleanAttribute(UDAT_PARSE_ALLOW_WHITESPACE, false, status);
    formatter->setBooleanAttribute(UDAT_PARSE_PARTIAL_LITERAL_MATCH, false, status);
  }
};

NSDateFormatter::NSDateFormatter() : state_(std::make_unique<State>()) {}
NSDateFormatter::~NSDateFormatter() = default;

void NSDateFormatter::setDateFormat(const std::string& pattern) {
  state_->pattern = pattern;
  state_->formatter.reset();
}

const std::string& NSDateFormatter::dateFormat() const { return state_->pattern; }

std::string NSDateFormatter::stringFromDate(NSDate date) const {
  const icu::SimpleDateFormat* const formatter = state_->formatterAt(date);
  std::string text;
  if (!formatter) return text;
  icu::UnicodeString formatted;
  formatter->format(milliseconds(date), formatted);
  formatted.toUTF8String(text);
  return text;
}

std::optional<NSDate> NSDateFormatter::dateFromString(const std::string& text) const {
  const icu::SimpleDateFormat* const formatter = state_->formatterAt(Clock::now());
  if (!formatter) return std::nullopt;
  const icu::UnicodeString wide = icu::UnicodeString::fromUTF8(text);
  icu::ParsePosition position(0);
  const UDate parsed = formatter->parse(wide, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != wide.length() || wide.isEmpty())
    return std::nullopt;
  return NSDate(NSTimeInterval(parsed / 1000));
}

}  // namespace tasklane

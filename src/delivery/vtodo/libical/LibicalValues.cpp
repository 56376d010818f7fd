#include <libical/ical.h>

#include <ctime>
#include <map>
#include <memory>

#include "delivery/vtodo/CalendarValues.h"

namespace tasklane {

namespace {

std::optional<icaltimetype> timeOf(const std::string& text) {
  const icaltimetype time = icaltime_from_string(text.c_str());
  // What is out of range counts on into the next month or day otherwise.
  if (icaltime_is_null_time(time) || icaltime_compare(icaltime_normalize(time), time) != 0)
    return std::nullopt;
  return time;
}

std::string textOf(const icaltimetype& time) {
  const std::unique_ptr<char, void (*)(void*)> text(icaltime_as_ical_string_r(time),
                                                    icalmemory_free_buffer);
  return text.get();
}

NSDate dateOf(std::time_t seconds) { return NSDate(NSTimeInterval(static_cast<double>(seconds))); }

NSDate inDevicesZone(const icaltimetype& time) {
  std::tm fields{};
  fields.tm_year = time.year - 1900;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  fields.tm_isdst = -1;
  return dateOf(std::mktime(&fields));
}

class LibicalValues : public CalendarValues {
 public:
  LibicalValues() {
    // Bad input is answered, not a reason to end.
    icalerror_set_errors_are_fatal(0);
    icalerror_set_error_state(ICAL_MALFORMEDDATA_ERROR, ICAL_ERROR_NONFATAL);
  }

  std::optional<NSDate> moment(const std::string& dateTime, const std::string& zone,
                               const std::string& definition) const override {
    const auto time = timeOf(dateTime);
    if (!time) return std::nullopt;
    if (icaltime_is_utc(*time)) return dateOf(icaltime_as_timet(*time));
    icaltimezone* const known = zone.empty() ? nullptr : zoneOf(zone, definition);
    return known ? dateOf(icaltime_as_timet_with_zone(*time, known)) : inDevicesZone(*time);
  }

  std::optional<std::string> later(const std::string& date,
                                   const std::string& duration) const override {
    const auto time = timeOf(date);
    const auto length = icaldurationtype_from_string(duration.c_str());
    if (!time || icaldurationtype_is_bad_duration(length)) return std::nullopt;
    return textOf(icaltime_add(*time, length));
  }

  std::optional<std::string> next(const std::string& rule, const std::string& date) const override {
    const auto start = timeOf(date);
    const auto recurrence = icalrecurrencetype_from_string(rule.c_str());
    if (!start || recurrence.freq == ICAL_NO_RECURRENCE) return std::nullopt;
    const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> occurrences(
        icalrecur_iterator_new(recurrence, *start), icalrecur_iterator_free);
    if (!occurrences) return std::nullopt;
    for (;;) {
      const auto time = icalrecur_iterator_next(occurrences.get());
      if (icaltime_is_null_time(time)) return std::nullopt;
      if (icaltime_compare(time, *start) > 0) return textOf(time);
    }
  }

  std::optional<std::string> moved(const std::string& date, const std::string& from,
                                   const std::string& to) const override {
    const auto time = timeOf(date);
    const auto first = timeOf(from);
    const auto last = timeOf(to);
    if (!time || !first || !last) return std::nullopt;
    return textOf(icaltime_add(*time, icaltime_subtract(*last, *first)));
  }

 private:
  /// Null when nobody knows it.
  icaltimezone* zoneOf(const std::string& name, const std::string& definition) const {
    if (auto* const system = icaltimezone_get_builtin_timezone(name.c_str())) return system;
    if (definition.empty()) return nullptr;
    auto& zone = defined_[definition];
    if (zone) return zone.get();
    icalcomponent* const component = icalparser_parse_string(definition.c_str());
    if (!component) return nullptr;
    zone.reset(icaltimezone_new(), [](icaltimezone* made) { icaltimezone_free(made, 1); });
    if (icaltimezone_set_component(zone.get(), component)) return zone.get();
    icalcomponent_free(component);
    zone.reset();
    return nullptr;
  }

  mutable std::map<std::string, std::shared_ptr<icaltimezone>> defined_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const CalendarValues* tasklane_calendar_values() {
  static const LibicalValues values;
  return &values;
}

}  // namespace tasklane

#pragma once

#include <optional>
#include <string>

#include "foundation/base/NSError.h"
#include "foundation/dates/NSDate.h"

namespace tasklane {

/// What values of an iCalendar text mean (RFC 5545, 3.3): moments in time zones, durations and
/// repetitions. Dates are given and answered as they stand in such a text: "20260105" (a DATE),
/// "20260105T100000", "20260105T100000Z". What is no such value has no answer. Main thread.
///
/// Made of libical, in a module that is loaded when it is first needed.
class CalendarValues {
 public:
  static Result<const CalendarValues*> shared();
  virtual ~CalendarValues() = default;

  /// The moment that a date and time is in the zone of a name (TZID): by the system's rules, else
  /// by its definition, the lines of a VTIMEZONE. Without a zone, or with one that nobody knows, it
  /// is in the device's.
  virtual std::optional<NSDate> moment(const std::string& dateTime, const std::string& zone,
                                       const std::string& definition) const = 0;

  /// A date so much later: "P1DT2H".
  virtual std::optional<std::string> later(const std::string& date,
                                           const std::string& duration) const = 0;

  /// The first date after a given one at which a RRULE that begins there occurs again; none when it
  /// does not.
  virtual std::optional<std::string> next(const std::string& rule,
                                          const std::string& date) const = 0;

  /// A date as much later as the last is later than the one before, on the calendar and the clock.
  virtual std::optional<std::string> moved(const std::string& date, const std::string& from,
                                           const std::string& to) const = 0;
};

}  // namespace tasklane

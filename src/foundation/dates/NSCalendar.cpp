#include "foundation/dates/NSCalendar.h"

#include "foundation/dates/internal/LocalTime.h"

namespace tasklane {

NSCalendar& NSCalendar::autoupdatingCurrentCalendar() {
  static NSCalendar calendar;
  return calendar;
}

// Every calendar begins its day at midnight, so the time zone alone decides.
bool NSCalendar::isDateInToday(NSDate date) const {
  const auto day = localTime(date), today = localTime(Clock::now());
  return day && today && day->tm_year == today->tm_year && day->tm_yday == today->tm_yday;
}

}  // namespace tasklane

#pragma once

#include "foundation/dates/NSDate.h"

namespace tasklane {

/// The device's calendar and current time zone, asked anew at every question.
class NSCalendar {
 public:
  static NSCalendar& autoupdatingCurrentCalendar();
  /// Whether the moment falls on the calendar day of now (Clock::now()).
  bool isDateInToday(NSDate date) const;

 private:
  NSCalendar() = default;
};

}  // namespace tasklane

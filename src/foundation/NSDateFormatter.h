#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/NSDate.h"

namespace tasklane {

/// Dates as text and back, by a Unicode date pattern (UTS #35), in the device's locale, calendar
/// and current time zone, which are followed when they change. Main thread.
class NSDateFormatter {
 public:
  NSDateFormatter();
  ~NSDateFormatter();
  void setDateFormat(const std::string& pattern);
  const std::string& dateFormat() const;

  std::string stringFromDate(NSDate date) const;
  /// The moment, or none when the text does not match the whole pattern.
  std::optional<NSDate> dateFromString(const std::string& text) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tasklane

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/dates/NSDate.h"

namespace tasklane {

/// Dates as text and back, by a Unicode date pattern (UTS #35) of the fields yyyy, MM, dd, HH, mm,
/// ss and ZZZ (the offset from UTC as a sign and four digits) and of other characters, which stand
/// for themselves. Letters that are none of these are not for such a pattern: it writes and reads
/// nothing.
///
/// The text is the same in every locale, because processes of different locales exchange it: the
/// Gregorian calendar and ASCII digits. It tells the time in the current time zone, by the system's
/// rules. Main thread.
class NSDateFormatter {
 public:
  void setDateFormat(const std::string& pattern);

  /// Whole seconds, rounded down. An offset of odd seconds, as of before standard time, is cut to
  /// whole minutes and the time told by that offset, so that the text means the very moment. Empty
  /// for a year that has not four digits.
  std::string stringFromDate(NSDate date) const;
  /// The moment, or none when the text does not match the whole pattern, digit by digit, or when
  /// the pattern lacks a field. The text's offset counts, whatever the current time zone.
  std::optional<NSDate> dateFromString(const std::string& text) const;

 private:
  enum class Field { Year, Month, Day, Hour, Minute, Second, Offset, Literal };
  struct Piece {
    Field field;
    char literal;
  };
  static Piece takePiece(std::string_view& pattern);

  std::string pattern_;
  std::vector<Piece> pieces_;
};

}  // namespace tasklane

#pragma once

#include <string>

#include "foundation/dates/NSDate.h"

namespace tasklane {

/// A moment as a person is told it, such as "today 23:30" or "20 Mar 2026 09:00": the day relative
/// to Clock::now() where there is a word for it, else in the calendar of the person's locale
/// (LC_ALL, LC_TIME, LANG), and the time to the minute in the current time zone, by the system's
/// rules. Empty when the year is beyond what the system can tell. Not for files: it differs from
/// person to person and cannot be read back. Any thread.
std::string relativeDateText(NSDate date);

}  // namespace tasklane

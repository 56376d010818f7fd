#pragma once

#include <ctime>
#include <optional>

#include "foundation/dates/NSDate.h"

namespace tasklane {

/// A moment in the device's current time zone, by the system's rules: TZ and /etc/localtime are
/// followed when they change. None when the year is beyond what the system can tell. Any thread.
std::optional<std::tm> localTime(NSDate date);

}  // namespace tasklane

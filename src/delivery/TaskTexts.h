#pragma once

#include <string>

#include "foundation/dates/NSDate.h"

namespace tasklane {

/// "YYYY-MM-DD" in the device's time zone.
std::string dayText(NSDate moment);

/// Whether a uuid may stand in a line and as a file's name.
bool isPlainIdentifier(const std::string& text);

}  // namespace tasklane

#pragma once

#include <string>

#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// The value on one line in the old text format's notation, where numbers, truth values and dates
/// are strings. What is nested too deeply is shown as three dots.
std::string writeText(const PropertyList& plist);

}  // namespace tasklane::plist

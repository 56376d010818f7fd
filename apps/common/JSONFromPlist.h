#pragma once

#include <nlohmann/json_fwd.hpp>

#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// A moment as RFC 3339 text in UTC, to the second, rounded down.
nlohmann::json JSONFromDate(NSDate date);

/// A value as JSON: dates as JSONFromDate() tells them, data as Base64. Texts are taken as they
/// are, also those that are no UTF-8.
nlohmann::json JSONFromPlist(const PropertyList& plist);

}  // namespace tasklane

#pragma once

#include <nlohmann/json_fwd.hpp>

#include "foundation/PropertyList.h"

namespace tasklane {

/// A value as JSON: dates as RFC 3339 text in UTC, data as Base64. Texts are taken as they are,
/// also those that are no UTF-8.
nlohmann::json JSONFromPlist(const PropertyList& plist);

}  // namespace tasklane

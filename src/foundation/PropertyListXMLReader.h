#pragma once

#include <string_view>

#include "foundation/NSError.h"
#include "foundation/PropertyList.h"

namespace tasklane::plist {

/// Reads a whole XML document of valid UTF-8 without byte-order mark; errors name line and column.
Result<PropertyList> readXML(std::string_view document);

}  // namespace tasklane::plist

#pragma once

#include <string>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// The value as an XML document; the contract is that of
/// NSPropertyListSerialization::dataWithPropertyList.
Result<std::string> writeXML(const PropertyList& plist);

}  // namespace tasklane::plist

#pragma once

#include <string>

#include "foundation/NSError.h"
#include "foundation/PropertyList.h"

namespace tasklane::plist {

/// The value as an XML document; the contract is that of
/// NSPropertyListSerialization::dataWithPropertyList.
Result<std::string> writeXML(const PropertyList& plist);

}  // namespace tasklane::plist

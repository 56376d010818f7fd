#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// The first bytes of every binary document; two digits for its version follow.
inline constexpr std::string_view binarySignature = "bplist";

/// Reads a whole binary document; errors name the byte. Objects that the document shares are shared
/// in the value, too; a document that would be absurdly larger when written out is refused.
Result<PropertyList> readBinary(std::string_view document, std::vector<std::string>& repeatedKeys);

}  // namespace tasklane::plist

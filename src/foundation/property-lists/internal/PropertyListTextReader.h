#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// Reads a whole document in the old text format, of valid UTF-8 without byte-order mark: one
/// value, or the pairs of a dictionary without its braces, as files of localised strings are
/// written. Every value is a string, data, an array or a dictionary. Errors name line and column.
Result<PropertyList> readText(std::string_view document, std::vector<std::string>& repeatedKeys);

/// Whether a string needs no quotes in the old text format.
bool isUnquotedText(std::string_view string);

}  // namespace tasklane::plist

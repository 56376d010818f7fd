#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// Reads a whole XML document of UTF-8 without byte-order mark; errors name line and column.
///
/// A property list uses a small part of XML: a dozen elements that hold either elements or text. So
/// the values are made in one pass over the bytes. A general parser needs about as long for its
/// tree alone, and the walk over it to find what such a parser lets pass would come on top. The
/// values of a document are kept together, as PropertyListStore.h tells.
Result<PropertyList> readXML(std::string_view document, std::vector<std::string>& repeatedKeys);

}  // namespace tasklane::plist

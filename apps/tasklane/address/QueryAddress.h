#pragma once

#include <string>
#include <utility>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// An address of the form "scheme:name?key=value&key=value", percent-decoded once.
struct QueryAddress {
  std::string name;
  std::vector<std::pair<std::string, std::string>> values;  ///< in their order
};

/// The module's function, "tasklane_read_query_address". "scheme://name?…" is the same; + in a
/// value is a blank, as forms and scripts write it. What RFC 3986 wants percent-encoded may also
/// stand as it is, as browsers leave it. An error of kind Corrupt says what is wrong with the
/// address.
using ReadQueryAddress = void (*)(const std::string& address, Result<QueryAddress>& result);

}  // namespace tasklane

#pragma once

#include <string>
#include <string_view>

#include "delivery/caldav/Multistatus.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// Reads the answer of an address to PROPFIND or REPORT. An error for what is no well-formed XML or
/// another document. What it does not know is passed over, and so are resources without a usable
/// address; entities of a document's own are not expanded.
Result<Multistatus> multistatusFromXML(std::string_view xml, const std::string& address);

/// Whether the body of an error names this condition, whatever its namespace.
bool errorNamesCondition(std::string_view xml, std::string_view condition);

}  // namespace tasklane

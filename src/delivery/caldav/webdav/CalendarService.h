#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/base/NSError.h"

namespace tasklane {

/// What WebDAVClient::addressOfMailDomain() makes of answers of the DNS, as they came over the
/// wire; empty for none.
Result<std::string> addressOfMailDomain(const std::string& domain, std::string_view srvAnswer,
                                        std::string_view txtAnswer);

}  // namespace tasklane

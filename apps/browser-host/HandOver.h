#pragma once

#include <string>

#include "PageShare.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// Has `tasklane share --detach` take a share over, in a session of its own from its first moment.
/// Once this has returned without an error nothing of the share is in this process alone: it, its
/// process group and the browser may be killed. An error is what that program has said.
Result<void> handOver(const std::string& program, const PageShare& share);

}  // namespace tasklane

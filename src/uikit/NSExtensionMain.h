#pragma once

#include <memory>

#include "foundation/NSExtensionContext.h"

namespace tasklane {

/// Runs an extension process: finds the principal class by the name in the main bundle's Info.plist
/// (NSExtension, NSExtensionPrincipalClass), makes it, hands it the request, shows its sheet in a
/// window and runs until the request is completed or cancelled. Answers the exit code: 0 completed,
/// 1 cancelled, 70 when the bundle names no known class. The backend has been started before.
int NSExtensionMain(const std::shared_ptr<NSExtensionContext>& context);

}  // namespace tasklane

#pragma once

#include <memory>
#include <string>

#include "foundation/base/NSError.h"
#include "foundation/extension/NSExtensionContext.h"
#include "uikit/base/CGGeometry.h"

namespace tasklane {

/// Runs an extension process: finds the principal class by the name in the main bundle's Info.plist
/// (NSExtension, NSExtensionPrincipalClass), makes it, hands it the request, shows its sheet in a
/// window and runs until the request is completed or cancelled. Answers the exit code: 0 completed,
/// 1 cancelled, 70 when the bundle names no known class or the display was lost, 74 when a compose
/// sheet's post could not be carried out, 75 when that was for a lock that others hold. The backend
/// has been started before.
///
/// Once the descriptor is readable nobody waits for the sheet any more, and once a signal asks the
/// process to end (Interruption.h) there is no more time: the request is cancelled then.
int NSExtensionMain(const std::shared_ptr<NSExtensionContext>& context, int hangUp = -1);

/// For backend::start(): cancels the request that NSExtensionMain() is running, and ends the
/// process with 70. Any thread; on another than the main one nothing is cancelled.
[[noreturn]] void NSExtensionDisplayLost();

/// Draws the sheet as NSExtensionMain would open it, with everything loaded, into a PNG file at a
/// number of pixels per point, and cancels the request.
Result<void> NSExtensionSnapshot(const std::shared_ptr<NSExtensionContext>& context,
                                 const std::string& path, CGFloat scale);

/// Has a sheet made and drawn to nowhere for a request of nothing, so that the next one, which may
/// come much later, appears sooner. The backend has been started before.
void NSExtensionRehearse();

}  // namespace tasklane

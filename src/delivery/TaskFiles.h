#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "delivery/Destination.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// $XDG_DATA_HOME/tasklane (~/.local/share/tasklane where that is unset or no whole path).
std::string dataFolderOfUser();

/// A text that tells a file's contents from those before, by its number, size and time: equal as
/// long as nobody has replaced or written it.
std::string stampOfFile(const struct stat& status);

/// The files that go with a new task, where its list lies in files. One that is there already is
/// whole, and of a task that was delivered before: the person may have changed it, so it stays.

Result<void> storeFileOnce(const std::string& path, std::string_view bytes);

/// Copies an action's attachments into a folder of their own, under their names; the folder is made
/// below one that is there. Those that are gone were taken away once their task was delivered.
Result<void> copyAttachments(const DeliveryAction& action, const std::string& folder);
void removeAttachments(const DeliveryAction& action, const std::string& folder);

}  // namespace tasklane

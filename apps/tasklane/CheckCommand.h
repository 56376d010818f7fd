#pragma once

#include "QueueCommands.h"

namespace tasklane {

enum class Repair { No, Yes };

/// Looks through the group container and says what is wrong there: shared files that cannot be read
/// or are of another kind, files that were set aside, entries that name a missing attachment,
/// attachments that nobody names, files and folders of strangers. With repair it mends what it can
/// without losing anything: entries of files that were set aside come back into the queue, what
/// nobody names is removed. Throws (bad data) when anything wrong is left.
void check(Repair repair, OutputFormat format);

}  // namespace tasklane

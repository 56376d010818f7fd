#pragma once

#include <string>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// A file in the shared attachment folder that no entry of the queue, or of what was set aside,
/// names and no process holds (AttachmentHold.h). Only files that the sheet makes are looked at:
/// "%lu.jpg", "Attachment-%lu.*" and the stand-ins of nameless files.
struct OrphanedAttachment {
  enum class Kind {
    NeverQueued,  ///< left by a process that was killed
    Unfinished,   ///< a stand-in, for an hour at least
    Forgotten,    ///< long after it was first seen to be orphaned, so that nobody will fetch it
    Recent        ///< queued once: who took its entry out of the queue may still fetch it
  };
  std::string name;
  Kind kind;
};

/// Looks for them. An error when the folder or the queue cannot be read: nothing is known then.
/// Files that were queued once are forgotten a week after the first look that has found them
/// orphaned (their mode is 0400 from then on), and never while a damaged queue is kept beside the
/// queue, which may name them. Main thread.
Result<std::vector<OrphanedAttachment>> findOrphanedAttachments();

/// Removes all but the recent ones; costs little when there is nothing to do. Main thread.
void sweepAttachments();

}  // namespace tasklane

#pragma once

#include <functional>

#include "foundation/NSError.h"
#include "foundation/NSURL.h"

namespace tasklane {

enum class NSFileCoordinatorReadingOptions { None, WithoutChanges };
enum class NSFileCoordinatorWritingOptions { None, ForDeleting };

/// Excludes readers and writers of one file across all processes of the user: writers exclude
/// everyone, readers share. Calls block until it is their turn and run the accessor on the calling
/// thread.
///
/// The lock is re-entrant within a thread (also reading, or writing again, inside a write of the
/// same file) and is released by the kernel when a process dies. It belongs to a lock file in the
/// hidden folder ".coordination" at the root of the group container that encloses the file (the
/// nearest enclosing folder whose name begins "group."), or beside the file where there is none; it
/// is never the file itself, which is replaced.
///
/// A coordinated write hands the accessor the address of a staging file beside the target. When the
/// accessor has left a whole file there it is committed: flushed to disk, renamed over the target,
/// and the folder flushed. So a plain write inside the accessor is safe against a crash, a full
/// disk and a power cut. A staging file that the accessor began but reported as failed with
/// discard() is removed and the target keeps its old contents. A symbolic link at the target is
/// followed, not replaced.
class NSFileCoordinator {
 public:
  using Accessor = std::function<void(const NSURL& url)>;

  Result<void> coordinateReadingItemAtURL(const NSURL& url, NSFileCoordinatorReadingOptions options,
                                          const Accessor& byAccessor);

  /// An error says why the lock could not be had (the accessor was not run) or why the commit
  /// failed (the target is unchanged).
  Result<void> coordinateWritingItemAtURL(const NSURL& url, NSFileCoordinatorWritingOptions options,
                                          const Accessor& byAccessor);
};

}  // namespace tasklane

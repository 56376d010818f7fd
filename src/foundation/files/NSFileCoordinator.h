#pragma once

#include <functional>
#include <string>

#include "foundation/base/NSError.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

enum class NSFileCoordinatorReadingOptions { None, WithoutChanges };
enum class NSFileCoordinatorWritingOptions { None, ForDeleting, ForMerging };

/// Excludes readers and writers of one file across all processes of the user: writers exclude
/// everyone, readers share. Calls block until it is their turn and run the accessor on the calling
/// thread.
///
/// The lock is re-entrant within a thread (reading and writing inside a write of the same file,
/// reading inside a read; writing inside a mere read is refused) and is released by the kernel when
/// a process dies. It belongs to a lock file in the hidden folder ".coordination" at the root of
/// the group container that encloses the file (the nearest enclosing folder whose name begins
/// "group."), or beside the file where there is none; it is never the file itself, which is
/// replaced. Who coordinates two files at once must take them in an order that all agree on. How
/// long a call waits, and how a wait ends, stands in CoordinationLock.h.
///
/// A lock file that somebody removes while a write is under way no longer keeps others out: the
/// write is then refused (kind Busy) and may be tried again.
///
/// A coordinated write hands the accessor the address of a staging file beside the target, which
/// does not exist yet; the accessor may first make its folder. When the accessor has left a file
/// there it is committed: flushed to disk, renamed over the target, and the folder flushed. So a
/// plain write inside the accessor is safe against a crash, a full disk and a power cut. When it
/// has left nothing, the target stays as it is.
///
/// A write that fails half-way must not be committed. NSFileManager sees to that by itself; whoever
/// writes by other means calls discardStagedWrite(). A reader inside the write is given what is
/// staged so far, and a write inside the write replaces that. A symbolic link at the target is
/// followed, not replaced. A target keeps its mode; a new file is its owner's alone (0600).
///
/// A write for deleting hands the accessor the target itself; the folder is flushed afterwards. A
/// write for merging hands it the target too, to be read; it only holds the lock, and each write
/// inside it is a whole one that is committed at its own end.
class NSFileCoordinator {
 public:
  using Accessor = std::function<void(const NSURL& url)>;

  Result<void> coordinateReadingItemAtURL(const NSURL& url, NSFileCoordinatorReadingOptions options,
                                          const Accessor& byAccessor);

  /// An error says why the lock could not be had (the accessor was not run) or why the commit
  /// failed; the target is unchanged then. A folder that could not be flushed after the commit is
  /// told on the console only.
  Result<void> coordinateWritingItemAtURL(const NSURL& url, NSFileCoordinatorWritingOptions options,
                                          const Accessor& byAccessor);

  /// Throws away what the accessor has written to the staging file at a path, so that the target
  /// keeps its contents; writing there may begin anew. Any other path is left alone. On the
  /// accessor's thread, while it runs.
  static void discardStagedWrite(const std::string& path);
};

}  // namespace tasklane

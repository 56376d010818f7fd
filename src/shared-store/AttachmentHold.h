#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "foundation/base/FileDescriptor.h"

namespace tasklane {

/// What a process holds of the shared attachment folder: files that it has made and that no queue
/// entry names yet. Others see it (AttachmentSweep.h) until this is destroyed or the process ends.
/// It costs one descriptor, whatever it holds. Main thread.
///
/// A file in hold is marked with the sticky bit, which means nothing else for files, until the
/// queue names it: so what a process that was killed leaves is known for what it is.
class AttachmentHold {
 public:
  explicit AttachmentHold(std::string folder) : folder_(std::move(folder)) {}

  /// Holds an open file that is about to get its name in the folder.
  void take(int fileDescriptor);
  /// The queue names these files now; they are no longer this process's alone.
  void wereQueued(const std::vector<std::string>& names);

  /// Whether another hold, of this or another process, has a file of the folder (by its inode
  /// number); true where that cannot be found out.
  static bool isHeld(int folderDescriptor, unsigned long long inode);

  /// What the permissions of a file in the folder say of it. kSeenOrphaned: a sweep found no queue
  /// entry that names it, when they were last changed.
  static constexpr mode_t kQueued = S_IRUSR | S_IWUSR, kHeld = S_ISVTX | kQueued,
                          kSeenOrphaned = S_IRUSR;
  /// Sets them; false where they stay as they are, which the next sweep meets again.
  static bool mark(int folderDescriptor, const std::string& name, mode_t permissions);

 private:
  std::string folder_;
  FileDescriptor folderDescriptor_;
};

}  // namespace tasklane

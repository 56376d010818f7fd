#pragma once

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

 private:
  std::string folder_;
  FileDescriptor folderDescriptor_;
};

}  // namespace tasklane

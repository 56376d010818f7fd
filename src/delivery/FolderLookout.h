#pragma once

#include <set>
#include <string>
#include <vector>

#include "foundation/base/FileDescriptor.h"

namespace tasklane {

/// Tells when files of some folders have been written, replaced, renamed or removed: a file that
/// others replace can only be watched through its folder. One thread.
class FolderLookout {
 public:
  /// What a change is, besides: a file that was written and closed; every single write, for files
  /// that are opened for writing, to be locked, also by those who only read; a folder that is made
  /// in one of the folders.
  enum class Changes { ClosedFiles, EachWrite, ClosedFilesAndNewFolders };
  explicit FolderLookout(Changes changes = Changes::ClosedFiles) : changes_(changes) {}

  /// Watches the folders that lie at the paths now, and no others, forgets what was told so far,
  /// and answers the descriptor, which is readable from the next change on and the same for good;
  /// -1 when none of them is there.
  int watch(const std::vector<std::string>& paths);

 private:
  Changes changes_;
  FileDescriptor inotify_;
  std::set<int> folders_;  // the watches' numbers
};

}  // namespace tasklane

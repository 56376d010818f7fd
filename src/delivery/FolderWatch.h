#pragma once

#include <string>

#include "foundation/base/FileDescriptor.h"

namespace tasklane {

/// Tells when files of a folder have been written, replaced, renamed or removed: a file that others
/// replace can only be watched through its folder. One thread.
class FolderWatch {
 public:
  /// What a change is: a file that was written and closed, or every single write. The latter is for
  /// files that are opened for writing, to be locked, also by those who only read.
  enum class Writes { WhenClosed, Each };
  explicit FolderWatch(Writes writes = Writes::WhenClosed) : writes_(writes) {}

  /// Watches the folder that lies at the path now, forgets what was told so far, and answers the
  /// descriptor, which is readable from the next change on and the same for good; -1 when there is
  /// no such folder.
  int watch(const std::string& path);

 private:
  Writes writes_;
  FileDescriptor inotify_;
  int folder_ = -1;  // the watch's number
};

}  // namespace tasklane

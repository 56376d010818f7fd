#pragma once

#include <string>

#include "foundation/base/FileDescriptor.h"

namespace tasklane {

/// Tells when files of a folder have been written, replaced, renamed or removed: a file that others
/// replace can only be watched through its folder. One thread.
class FolderWatch {
 public:
  /// Watches the folder that lies at the path now, forgets what was told so far, and answers the
  /// descriptor, which is readable from the next change on and the same for good; -1 when there is
  /// no such folder.
  int watch(const std::string& path);

 private:
  FileDescriptor inotify_;
  int folder_ = -1;  // the watch's number
};

}  // namespace tasklane

#pragma once

#include <sys/inotify.h>

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// Tells when something comes, goes or changes in a few folders. One thread at a time.
class FolderWatch {
 public:
  /// What to hear of in a folder, in inotify's terms.
  static constexpr std::uint32_t kGone =
      IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  static constexpr std::uint32_t kHarmed = kGone | IN_MOVED_TO | IN_MODIFY | IN_ATTRIB;
  static constexpr std::uint32_t kComes =
      IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ATTRIB;
  struct Folder {
    std::string path;
    std::uint32_t events;
  };

  /// Fails where the system has too few instances or descriptors; nothing is watched then.
  Result<void> open();
  /// Readable when something has happened, until drain().
  int fileDescriptor() const { return inotify_.get(); }
  void drain();
  /// Watches these folders from now on and no others; those that are not there are left out.
  void watch(const std::vector<Folder>& folders);
  bool watchesAny() const { return !watches_.empty(); }

 private:
  FileDescriptor inotify_;
  std::vector<int> watches_;
};

}  // namespace tasklane

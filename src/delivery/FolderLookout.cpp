#include "delivery/FolderLookout.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace tasklane {

int FolderLookout::watch(const std::vector<std::string>& paths) {
  if (!inotify_) inotify_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!inotify_) return -1;
  std::set<int> folders;
  const std::uint32_t events = (changes_ == Changes::EachWrite ? IN_MODIFY : IN_CLOSE_WRITE) |
                               (changes_ == Changes::ClosedFilesAndNewFolders ? IN_CREATE : 0) |
                               IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF |
                               IN_MOVE_SELF | IN_ONLYDIR;
  for (const auto& path : paths) {
    // For a folder that is watched already this changes nothing and answers the same number.
    const int folder = ::inotify_add_watch(inotify_.get(), path.c_str(), events);
    if (folder >= 0) folders.insert(folder);
  }
  for (const int old : folders_)
    if (!folders.contains(old)) ::inotify_rm_watch(inotify_.get(), old);
  folders_ = std::move(folders);
  char told[4096];
  while (::read(inotify_.get(), told, sizeof told) > 0) {
  }
  return folders_.empty() ? -1 : inotify_.get();
}

}  // namespace tasklane

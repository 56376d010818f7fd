#include "delivery/FolderWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

namespace tasklane {

int FolderWatch::watch(const std::string& path) {
  if (!inotify_) inotify_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!inotify_) return -1;
  // For the folder that is watched already this changes nothing and answers the same number.
  const unsigned writes = writes_ == Writes::Each ? IN_MODIFY : IN_CLOSE_WRITE;
  const int folder = ::inotify_add_watch(inotify_.get(), path.c_str(),
                                         writes | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                             IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
  if (folder_ >= 0 && folder != folder_) ::inotify_rm_watch(inotify_.get(), folder_);
  folder_ = folder;
  char events[4096];
  while (::read(inotify_.get(), events, sizeof events) > 0) {
  }
  return folder_ >= 0 ? inotify_.get() : -1;
}

}  // namespace tasklane

#include "foundation/events/internal/FolderWatch.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tasklane {

Result<void> FolderWatch::open() {
  inotify_ = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!inotify_) return NSError::fromErrno(errno, "cannot watch the folder of notifications");
  return {};
}

void FolderWatch::drain() {
  alignas(inotify_event) char events[16 * 1024];
  while (read(inotify_.get(), events, sizeof events) > 0) {
  }
}

void FolderWatch::watch(const std::vector<Folder>& folders) {
  if (!inotify_) return;
  const auto before = std::exchange(watches_, {});
  for (const auto& [path, events] : folders) {
    const int watch = inotify_add_watch(inotify_.get(), path.c_str(), events);
    if (watch >= 0) watches_.push_back(watch);
  }
  for (const int watch : before) {
    const bool stays = std::find(watches_.begin(), watches_.end(), watch) != watches_.end();
    if (!stays) inotify_rm_watch(inotify_.get(), watch);
  }
}

}  // namespace tasklane

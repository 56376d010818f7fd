#include "shared-store/AttachmentHold.h"

#include <fcntl.h>

#include "foundation/base/FileSystem.h"

namespace tasklane {

namespace {

/// The byte of the folder that stands for a file: of a folder locks are all that there is.
struct flock byteOf(unsigned long long inode, short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(inode & 0x7FFFFFFFFFFFFFFFull);
  lock.l_len = 1;
  return lock;
}

}  // namespace

void AttachmentHold::take(int fileDescriptor) {
  if (!folderDescriptor_) folderDescriptor_ = openFile(folder_, O_RDONLY | O_DIRECTORY);
  struct stat state {};
  if (!folderDescriptor_ || ::fstat(fileDescriptor, &state) != 0) return;
  auto lock = byteOf(state.st_ino, F_RDLCK);
  // Unmarked, it passes for one that was queued once, and is left alone for long.
  if (::fcntl(folderDescriptor_.get(), F_OFD_SETLK, &lock) == 0) ::fchmod(fileDescriptor, kHeld);
}

void AttachmentHold::wereQueued(const std::vector<std::string>& names) {
  if (!folderDescriptor_) return;
  for (const auto& name : names) mark(folderDescriptor_.get(), name, kQueued);
}

bool AttachmentHold::isHeld(int folderDescriptor, unsigned long long inode) {
  auto lock = byteOf(inode, F_WRLCK);
  return ::fcntl(folderDescriptor, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

bool AttachmentHold::mark(int folderDescriptor, const std::string& name, mode_t permissions) {
  return ::fchmodat(folderDescriptor, name.c_str(), permissions, 0) == 0;
}

}  // namespace tasklane

#include "delivery/DeliveryLock.h"

#include <fcntl.h>

#include <cerrno>
#include <optional>
#include <string>

#include "foundation/base/FileSystem.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

namespace {

std::optional<std::string> pathOf(DeliveryLock::Of what) {
  const char* name = what == DeliveryLock::Of::Agent        ? "agent.lock"
                     : what == DeliveryLock::Of::Background ? "background.lock"
                                                            : "delivery.lock";
  const auto url = TLXPlistPresenter::sharedFileURL(name);
  return url ? std::optional(url->path()) : std::nullopt;
}

struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

Result<DeliveryLock> DeliveryLock::take(Of what) {
  const auto path = pathOf(what);
  if (!path) return NSError{NSError::Kind::Io, "there is no folder of shared files"};
  TLXPlistPresenter::ensureContainerExists();
  // The file is never removed: a lock on a file without a name would exclude nobody.
  FileDescriptor file = openFile(*path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
  if (!file) return NSError::fromErrno(errno, "cannot open the lock file " + *path);
  auto lock = wholeFile();
  if (::fcntl(file.get(), F_OFD_SETLK, &lock) == 0) return DeliveryLock(std::move(file));
  if (errno != EAGAIN && errno != EACCES) return NSError::fromErrno(errno, "cannot lock " + *path);
  return NSError{NSError::Kind::Busy,
                 what == Of::Delivery ? "another program is delivering" : "an agent runs already"};
}

bool DeliveryLock::isHeld(Of what) {
  const auto path = pathOf(what);
  const FileDescriptor file = path ? openFile(*path, O_RDONLY | O_NOFOLLOW) : FileDescriptor();
  auto lock = wholeFile();
  return file && ::fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace tasklane

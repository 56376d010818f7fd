#include "foundation/files/CoordinationLock.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {
namespace {

/// How much of a target's path is the folder at whose root its lock lies.
std::size_t lockRootLength(const std::string& target) {
  const std::size_t folder = target.rfind('/');
  for (std::size_t end = folder; end != std::string::npos && end > 0;) {
    const std::size_t slash = target.rfind('/', end - 1);
    if (target.compare(slash + 1, 6, "group.") == 0) return end;
    end = slash;
  }
  return folder;
}

/// One path below the root as one file name.
std::string lockName(const std::string& relativePath) {
  std::string name;
  for (const char c : relativePath) {
    if (c == '/') {
      name += "%2F";
    } else if (c == '%') {
      name += "%25";
    } else {
      name += c;
    }
  }
  return shortenedName(name) + ".lock";
}

/// On a failure errno says why.
FileDescriptor makeLockFile(const std::string& path) {
  FileDescriptor file = openFile(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (file) giveToOwnerOfFolder(file.get(), parentOfPath(path));
  return file;
}

Result<FileDescriptor> openLockFile(const std::string& path, CoordinationLock::Mode mode) {
  // Other processes may make the file, or remove it, at the same time.
  for (int attempt = 0; attempt < 10; ++attempt) {
    FileDescriptor file = openFile(path, O_RDWR | O_NOFOLLOW);
    if (!file && errno == ENOENT) file = makeLockFile(path);
    if (file) return file;
    if (errno == EEXIST) continue;
    if (errno != ENOENT) break;
    const std::string folder = parentOfPath(path);
    // A reader makes no more: where even the root is missing there is nothing to read.
    auto made =
        mode == CoordinationLock::Mode::Shared
            ? Result<void>()
            : NSFileManager::defaultManager().createDirectoryAtPath(parentOfPath(folder), true);
    // After a power cut nobody holds a lock, so that nothing here has to outlast one.
    if (made) made = makeFolder(folder, Flush::No);
    if (!made) return made.error();
  }
  return NSError::fromErrno(errno, "cannot open the lock file " + path);
}

/// Whether there is no lock file because nothing can be stored where it would lie.
bool isForWantOfAPlace(const NSError& error) {
  return error.kind == NSError::Kind::FileNotFound || error.kind == NSError::Kind::NotPermitted ||
         error.kind == NSError::Kind::NoSpace;
}

}  // namespace

std::string CoordinationLock::lockFile(const std::string& target) {
  const std::size_t root = lockRootLength(target);
  return target.substr(0, root) + "/.coordination/" + lockName(target.substr(root + 1));
}

CoordinationLock::CoordinationLock(FileDescriptor file, std::string path)
    : file_(std::move(file)), path_(std::move(path)) {}

Result<CoordinationLock> CoordinationLock::acquire(const std::string& target, Mode mode) {
  const std::string path = lockFile(target);
  for (;;) {
    auto file = openLockFile(path, mode);
    if (!file && mode == Mode::Shared && isForWantOfAPlace(file.error())) {
      FileDescriptor readOnly = openFile(path, O_RDONLY | O_NOFOLLOW);
      if (!readOnly) return CoordinationLock(FileDescriptor(), path);
      file = std::move(readOnly);
    }
    if (!file) return file.error();
    // A lock belongs to the opening, so that threads of one process exclude each other as well.
    auto locked = lockwait::lock(std::move(file).value(), mode, path);
    if (!locked) return locked.error();
    CoordinationLock lock(std::move(locked).value(), path);
    if (uninterrupted([&] { return fstat(lock.file_.get(), &lock.status_); }) != 0)
      return NSError::fromErrno(errno, "cannot look at the lock file " + path);
    const auto inPlace = lock.check();
    if (inPlace) return lock;
    // Somebody may have removed the file while this process waited.
    if (inPlace.error().kind != NSError::Kind::Busy) return inPlace.error();
  }
}

Result<void> CoordinationLock::check() const {
  const auto leads = leadsToFile(path_, status_);
  if (!leads) return leads.error();
  if (leads.value()) return {};
  return NSError{NSError::Kind::Busy,
                 "the lock file " + path_ + " was removed meanwhile, so that others may write"};
}

}  // namespace tasklane

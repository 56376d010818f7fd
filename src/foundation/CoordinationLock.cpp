#include "foundation/CoordinationLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "foundation/NSFileManager.h"
#include "foundation/StableHash.h"

namespace tasklane {
namespace {

constexpr std::size_t kLongestReadableName = 180;

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
  if (name.size() > kLongestReadableName) {
    name = name.substr(name.size() - kLongestReadableName) + "~" + stableHashText(relativePath);
  }
  return name + ".lock";
}

FileDescriptor openLockFile(const std::string& path, CoordinationLock::Mode mode) {
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NOCTTY;
  FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | kFlags, 0600));
  if (!file && errno == ENOENT) {
    const std::string folder = path.substr(0, path.rfind('/'));
    if (mode == CoordinationLock::Mode::Shared) {
      // Where even the root is missing there is nothing to read, and nothing is made.
      mkdir(folder.c_str(), 0700);
    } else {
      [[maybe_unused]] const auto made =
          NSFileManager::defaultManager().createDirectoryAtPath(folder, true);
    }
    file = FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | kFlags, 0600));
  }
  if (!file && mode == CoordinationLock::Mode::Shared) {
    file = FileDescriptor(open(path.c_str(), O_RDONLY | kFlags));
  }
  return file;
}

/// Whether a path still leads to the open file.
bool isStillAt(const std::string& path, int file) {
  struct stat opened {};
  struct stat named {};
  return fstat(file, &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

std::function<void()>& waitingHook() {
  thread_local std::function<void()> hook;
  return hook;
}

}  // namespace

void CoordinationLock::setWaitingHook(std::function<void()> hook) {
  waitingHook() = std::move(hook);
}

std::string CoordinationLock::lockFile(const std::string& target) {
  const std::size_t root = lockRootLength(target);
  return target.substr(0, root) + "/.coordination/" + lockName(target.substr(root + 1));
}

Result<CoordinationLock> CoordinationLock::acquire(const std::string& target, Mode mode) {
  const std::string path = lockFile(target);
  for (;;) {
    FileDescriptor file = openLockFile(path, mode);
    if (!file) {
      if (mode == Mode::Shared) return CoordinationLock(FileDescriptor());
      return NSError::fromErrno(errno, "cannot open the lock file " + path);
    }
    // A lock belongs to the opening, so that threads of one process exclude each other as well.
    while (flock(file.get(), mode == Mode::Shared ? LOCK_SH : LOCK_EX) != 0) {
      if (errno != EINTR) return NSError::fromErrno(errno, "cannot lock " + path);
    }
    // Somebody may have cleared the folder while this process waited.
    if (isStillAt(path, file.get())) return CoordinationLock(std::move(file));
  }
}

}  // namespace tasklane

#include "foundation/NSFileManager+FileIdentity.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace tasklane {

std::optional<FileIdentity> fileIdentityOfItemAtPath(const NSFileManager&,
                                                     const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                      status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

namespace {

/// 0, or the errno value of the failure.
int giveSecondName(const std::string& path, const std::string& name) {
  if (::link(path.c_str(), name.c_str()) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  // Folders, and files on file systems without links, can only be moved.
  return ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0 ? 0
                                                                                            : errno;
}

}  // namespace

Result<std::string> setAsideItemAtPath(const NSFileManager&, const std::string& path,
                                       const std::string& suffix) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                        std::free);
  if (!resolved) return NSError::fromErrno(errno, "cannot set aside " + path);
  const std::string source = resolved.get();
  for (std::uint64_t number = 1;; ++number) {
    const std::string name = source + suffix + std::to_string(number);
    const int failure = giveSecondName(source, name);
    if (failure == 0) return name;
    if (failure != EEXIST) return NSError::fromErrno(failure, "cannot set aside " + source);
  }
}

}  // namespace tasklane

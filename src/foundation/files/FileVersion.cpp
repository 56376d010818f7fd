#include "foundation/files/FileVersion.h"

#include <fcntl.h>

#include <cerrno>

#include "foundation/base/FileSystem.h"

namespace tasklane {

namespace {

bool operator==(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

}  // namespace

Result<FileVersion> FileVersion::ofItemAtPath(const std::string& path) {
  FileVersion version;
  version.file_ = openFile(path, O_PATH);
  if (!version.file_ && (errno == ENOENT || errno == ENOTDIR)) return version;
  if (!version.file_ ||
      uninterrupted([&] { return fstat(version.file_.get(), &version.status_); }) != 0)
    return NSError::fromErrno(errno, "cannot look at " + path);
  return version;
}

bool FileVersion::isStillAtPath(const std::string& path) const {
  struct stat now {};
  if (uninterrupted([&] { return stat(path.c_str(), &now); }) != 0)
    return !file_ && (errno == ENOENT || errno == ENOTDIR);
  // The time of the last change of state cannot be set back, as the time of the last write can.
  return file_ && now.st_dev == status_.st_dev && now.st_ino == status_.st_ino &&
         now.st_size == status_.st_size && now.st_mtim == status_.st_mtim &&
         now.st_ctim == status_.st_ctim;
}

}  // namespace tasklane

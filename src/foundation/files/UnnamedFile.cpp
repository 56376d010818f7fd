#include "foundation/files/UnnamedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <utility>

namespace tasklane {

namespace {

constexpr std::size_t kWorthFlushingTheDisk = 32;
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

/// Links an open file without a name. The direct way needs a capability, the way round over /proc
/// needs /proc: between them one works nearly everywhere.
int linkDescriptor(int descriptor, const std::string& path) {
  const std::string itself = "/proc/self/fd/" + std::to_string(descriptor);
  if (::linkat(AT_FDCWD, itself.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return 0;
  if (errno == EEXIST) return -1;
  const int failure = errno;
  if (::linkat(descriptor, "", AT_FDCWD, path.c_str(), AT_EMPTY_PATH) == 0) return 0;
  if (errno != EEXIST) errno = failure;
  return -1;
}

}  // namespace

UnnamedFile::UnnamedFile(int fileDescriptor, std::string folder, std::string hiddenPath)
    : fileDescriptor_(fileDescriptor),
      folder_(std::move(folder)),
      hiddenPath_(std::move(hiddenPath)) {}

Result<std::shared_ptr<UnnamedFile>> UnnamedFile::makeInFolder(const std::string& folder) {
  std::string hiddenPath;
  int descriptor = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kOwnerOnly);
  if (descriptor < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    hiddenPath = folder + "/.unnamed-XXXXXX";
    descriptor = ::mkostemp(hiddenPath.data(), O_CLOEXEC);
  }
  if (descriptor < 0) return NSError::fromErrno(errno, "cannot make a file in " + folder);
  return std::shared_ptr<UnnamedFile>(new UnnamedFile(descriptor, folder, std::move(hiddenPath)));
}

UnnamedFile::~UnnamedFile() {
  ::close(fileDescriptor_);
  if (!hiddenPath_.empty()) ::unlink(hiddenPath_.c_str());
}

Result<void> UnnamedFile::write(const void* bytes, std::size_t count) {
  const char* next = static_cast<const char*>(bytes);
  flushed_ = false;
  while (count > 0) {
    const ssize_t written = ::write(fileDescriptor_, next, count);
    if (written < 0) {
      if (errno == EINTR) continue;
      return NSError::fromErrno(errno, "cannot write a file in " + folder_);
    }
    next += written;
    count -= static_cast<std::size_t>(written);
  }
  return {};
}

void UnnamedFile::flushTogether(const std::vector<std::shared_ptr<UnnamedFile>>& files) {
  if (files.size() < kWorthFlushingTheDisk) return;
  std::map<dev_t, bool> disks;  // whether it was flushed
  for (const auto& file : files) {
    struct stat status {};
    if (::fstat(file->fileDescriptor_, &status) != 0) continue;
    const auto [disk, isNew] = disks.emplace(status.st_dev, false);
    if (isNew) disk->second = ::syncfs(file->fileDescriptor_) == 0;
    file->flushed_ = disk->second;
  }
}

Result<void> UnnamedFile::flush() {
  if (flushed_) return {};
  if (::fsync(fileDescriptor_) < 0)
    return NSError::fromErrno(errno, "cannot flush a file in " + folder_);
  flushed_ = true;
  return {};
}

Result<void> UnnamedFile::linkToPath(const std::string& path, Flush folder) {
  if (auto flushed = flush(); !flushed) return flushed;
  const int linked = hiddenPath_.empty() ? linkDescriptor(fileDescriptor_, path)
                                         : ::link(hiddenPath_.c_str(), path.c_str());
  if (linked < 0) {
    NSError error = NSError::fromErrno(errno, "cannot name the file " + path);
    if (errno == EEXIST) error.kind = NSError::Kind::Exists;
    return error;
  }
  if (!hiddenPath_.empty()) {
    ::unlink(hiddenPath_.c_str());
    hiddenPath_.clear();
  }
  if (folder == Flush::No) return {};
  const auto flushed = flushFolder(parentOfPath(path));
  if (!flushed) ::unlink(path.c_str());
  return flushed;
}

}  // namespace tasklane

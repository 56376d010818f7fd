#include "foundation/files/internal/StagedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"

namespace tasklane {
namespace {

constexpr mode_t kNewFileMode = 0600;
constexpr mode_t kModeBits = 07777;

std::string stagingPath(const std::string& target, const std::string& tag) {
  const std::string folder = parentOfPath(target);
  return (folder == "/" ? folder : folder + "/") + "." + shortenedName(nameInPath(target)) +
         ".staged-" + tag;
}

/// Removes a file, or the folder that somebody made in its place; whether there was one.
bool removeAnything(const std::string& path) {
  if (uninterrupted([&] { return unlink(path.c_str()); }) == 0) return true;
  if (errno != EISDIR) return false;
  std::error_code problem;
  return std::filesystem::remove_all(path, problem) > 0 && !problem;
}

}  // namespace

StagedFile::StagedFile(std::string target, const std::string& tag)
    : target_(std::move(target)), path_(stagingPath(target_, tag)) {}

bool StagedFile::removeAbandoned(const std::string& target, const std::string& tag) {
  return removeAnything(stagingPath(target, tag));
}

bool StagedFile::exists() const {
  struct stat status {};
  return lstat(path_.c_str(), &status) == 0;
}

void StagedFile::discard() {
  if (moved_) return;
  removeAnything(path_);
  unusable_ = exists();
}

/// False when nothing was written.
Result<bool> StagedFile::flushContents() const {
  // O_NONBLOCK: whatever else than a file stands there must not hold up the opening.
  const FileDescriptor file = openFile(path_, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!file && errno == ENOENT) return false;
  struct stat staged {};
  if (!file || uninterrupted([&] { return fstat(file.get(), &staged); }) != 0)
    return NSError::fromErrno(errno, "cannot open the new contents of " + target_);
  if (!S_ISREG(staged.st_mode))
    return NSError{NSError::Kind::Unsupported, "the new contents of " + target_ + " are no file"};
  struct stat old {};
  mode_t mode = kNewFileMode;
  if (lstat(target_.c_str(), &old) == 0) {
    mode = old.st_mode & kModeBits;
    if (old.st_uid != staged.st_uid || old.st_gid != staged.st_gid) {
      // Succeeds for the superuser and within one's own groups; elsewhere the file changes hands.
      [[maybe_unused]] const int kept = fchown(file.get(), old.st_uid, old.st_gid);
    }
  } else {
    giveToOwnerOfFolder(file.get(), parentOfPath(target_));
  }
  if ((staged.st_mode & kModeBits) != mode &&
      uninterrupted([&] { return fchmod(file.get(), mode); }) != 0)
    return NSError::fromErrno(errno, "cannot set the mode of " + target_);
  if (uninterrupted([&] { return fsync(file.get()); }) != 0)
    return NSError::fromErrno(errno, "cannot flush " + target_);
  return true;
}

Result<void> StagedFile::commit(const std::function<Result<void>()>& mayReplace) {
  if (unusable_) {
    return NSError{NSError::Kind::Io, "failed contents of " + target_ + " could not be removed"};
  }
  const auto staged = flushContents();
  if (!staged) return staged.error();
  if (!staged.value()) return {};
  // Opened before the renaming, so that whatever is wanting for the flush is found out in time. One
  // may write in a folder that one may not read.
  const std::string path = parentOfPath(target_);
  const FileDescriptor folder = openFile(path, O_RDONLY | O_DIRECTORY);
  if (!folder && errno != EACCES)
    return NSError::fromErrno(errno, "cannot open the folder " + path);
  if (mayReplace) {
    if (auto allowed = mayReplace(); !allowed) return allowed;
  }
  if (auto moved = moveTo(target_); !moved) return moved;
  const auto flushed = folder ? flushFolder(folder, path) : Result<void>();
  if (!flushed)
    NSLog(flushed.error().description + "; the new contents may not survive a power cut");
  return {};
}

Result<void> StagedFile::moveTo(const std::string& path) {
  if (unusable_ || uninterrupted([&] { return rename(path_.c_str(), path.c_str()); }) != 0) {
    return NSError::fromErrno(unusable_ ? EIO : errno, "cannot replace " + path);
  }
  moved_ = true;
  return {};
}

}  // namespace tasklane

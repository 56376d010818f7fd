#include "foundation/StagedFile.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "foundation/FileDescriptor.h"
#include "foundation/StableHash.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFileMode = 0600;
constexpr mode_t kModeBits = 07777;
constexpr int kLongestLinkChain = 40;
// Leaves room for what is put around a file's name within the 255 bytes of a name.
constexpr std::size_t kLongestReadableName = 180;

/// Of an absolute path without doubled slashes.
std::string parentOf(const std::string& path) {
  return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string join(const std::string& folder, const std::string& name) {
  return folder == "/" ? folder + name : folder + "/" + name;
}

/// A folder's real path. What does not exist yet stays as it is.
std::string realFolder(const std::string& folder, std::error_code& problem) {
  char real[PATH_MAX];
  if (realpath(folder.c_str(), real)) return real;
  return fs::weakly_canonical(folder, problem).string();
}

/// Whether an absolute path is its own real path, asked in one step; false also when the system
/// does not say or nothing is there yet.
bool leadsThroughNoLink(const std::string& path) {
  if (!path.starts_with('/')) return false;
  for (const char* const detour : {"//", "/./", "/../"}) {
    if ((path + '/').find(detour) != std::string::npos) return false;
  }
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  const FileDescriptor found(
      static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
  return static_cast<bool>(found);
}

std::string stagingPath(const std::string& target, const std::string& tag) {
  std::string name = nameOf(target);
  if (name.size() > kLongestReadableName) {
    name = name.substr(0, kLongestReadableName) + "~" + stableHashText(name);
  }
  return join(parentOf(target), "." + name + ".staged-" + tag);
}

/// Removes a file, or the folder that somebody made in its place; whether there was one.
bool removeAnything(const std::string& path) {
  if (unlink(path.c_str()) == 0) return true;
  if (errno != EISDIR) return false;
  std::error_code problem;
  return fs::remove_all(path, problem) > 0 && !problem;
}

}  // namespace

Result<std::string> pathWithLinksFollowed(const std::string& path) {
  if (leadsThroughNoLink(path)) return path;
  std::error_code problem;
  std::string current = path.starts_with('/') ? path : fs::absolute(path, problem).string();
  for (int links = 0; !problem && links < kLongestLinkChain; ++links) {
    const std::string folder = realFolder(parentOf(current), problem);
    if (problem) break;
    current = join(folder, nameOf(current));
    char destination[PATH_MAX];
    const ssize_t length = readlink(current.c_str(), destination, sizeof destination);
    if (length < 0) return current;
    const std::string link(destination, static_cast<std::size_t>(length));
    current = link.starts_with('/') ? link : join(folder, link);
  }
  return NSError::fromErrno(problem ? problem.value() : ELOOP, "cannot follow the path " + path);
}

Result<void> flushFolder(const std::string& path) {
  const FileDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder && fsync(folder.get()) == 0) return {};
  if (folder && (errno == EINVAL || errno == ENOTSUP)) return {};
  return NSError::fromErrno(errno, "cannot flush the folder " + path);
}

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
  const FileDescriptor file(
      open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!file && errno == ENOENT) return false;
  struct stat staged {};
  if (!file || fstat(file.get(), &staged) != 0) {
    return NSError::fromErrno(errno, "cannot open the new contents of " + target_);
  }
  if (!S_ISREG(staged.st_mode)) {
    return NSError{NSError::Kind::Unsupported, "the new contents of " + target_ + " are no file"};
  }
  struct stat old {};
  mode_t mode = kNewFileMode;
  if (lstat(target_.c_str(), &old) == 0) {
    mode = old.st_mode & kModeBits;
    if (old.st_uid != staged.st_uid || old.st_gid != staged.st_gid) {
      // Succeeds for the superuser and within one's own groups; elsewhere the file changes hands.
      [[maybe_unused]] const int kept = fchown(file.get(), old.st_uid, old.st_gid);
    }
  }
  if ((staged.st_mode & kModeBits) != mode && fchmod(file.get(), mode) != 0) {
    return NSError::fromErrno(errno, "cannot set the mode of " + target_);
  }
  if (fsync(file.get()) != 0) return NSError::fromErrno(errno, "cannot flush " + target_);
  return true;
}

Result<void> StagedFile::commit() {
  if (unusable_) {
    return NSError{NSError::Kind::Io, "failed contents of " + target_ + " could not be removed"};
  }
  const auto flushed = flushContents();
  if (!flushed) return flushed.error();
  if (!flushed.value()) return {};
  if (auto moved = moveTo(target_); !moved) return moved;
  return flushFolder(parentOf(target_));
}

Result<void> StagedFile::moveTo(const std::string& path) {
  if (unusable_ || rename(path_.c_str(), path.c_str()) != 0) {
    return NSError::fromErrno(unusable_ ? EIO : errno, "cannot replace " + path);
  }
  moved_ = true;
  return {};
}

}  // namespace tasklane

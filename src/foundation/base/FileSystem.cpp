#include "foundation/base/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

#include "foundation/base/StableHash.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kFolderMode = 0700;
constexpr int kLongestLinkChain = 40;
// Leaves room for what is put around a file's name within the 255 bytes of a name.
constexpr std::size_t kLongestReadableName = 180;

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
  const FileDescriptor found(static_cast<int>(uninterrupted(
      [&] { return syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how); })));
  return static_cast<bool>(found);
}

NSError tooLarge(const std::string& name) {
  return {NSError::Kind::Unsupported, "cannot read " + name + ": it is larger than " +
                                          std::to_string(kLargestReadableFile >> 20) + " MB"};
}

}  // namespace

FileDescriptor openFile(const std::string& path, int flags, mode_t mode) {
  return FileDescriptor(
      uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); }));
}

std::string parentOfPath(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

std::string nameInPath(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string shortenedName(const std::string& name) {
  if (name.size() <= kLongestReadableName) return name;
  return name.substr(0, kLongestReadableName) + "~" + stableHashText(name);
}

Result<std::string> pathWithLinksFollowed(const std::string& path) {
  if (leadsThroughNoLink(path)) return path;
  std::error_code problem;
  std::string current = path.starts_with('/') ? path : fs::absolute(path, problem).string();
  for (int links = 0; !problem && links < kLongestLinkChain; ++links) {
    const std::string folder = realFolder(parentOfPath(current), problem);
    if (problem) break;
    current = join(folder, nameInPath(current));
    char destination[PATH_MAX];
    const ssize_t length =
        uninterrupted([&] { return readlink(current.c_str(), destination, sizeof destination); });
    if (length < 0) return current;
    const std::string link(destination, static_cast<std::size_t>(length));
    current = link.starts_with('/') ? link : join(folder, link);
  }
  return NSError::fromErrno(problem ? problem.value() : ELOOP, "cannot follow the path " + path);
}

Result<bool> leadsToFile(const std::string& path, const struct stat& status) {
  struct stat named {};
  if (uninterrupted([&] { return lstat(path.c_str(), &named); }) != 0) {
    if (errno == ENOENT) return false;
    return NSError::fromErrno(errno, "cannot look at the file " + path);
  }
  return named.st_dev == status.st_dev && named.st_ino == status.st_ino;
}

Result<std::string> readAll(int file, const std::string& name) {
  struct stat status {};
  if (uninterrupted([&] { return fstat(file, &status); }) != 0)
    return NSError::fromErrno(errno, "cannot read " + name);
  const auto size = static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
  if (size > kLargestReadableFile) return tooLarge(name);
  try {
    std::string contents;
    std::size_t length = 0;
    // One byte more than the file has, so that its end is met without a further read.
    contents.resize(size + 1);
    for (;;) {
      if (length == contents.size())
        contents.resize(
            std::min(std::max<std::size_t>(length * 2, 4096), kLargestReadableFile + 1));
      const ssize_t got = uninterrupted(
          [&] { return read(file, contents.data() + length, contents.size() - length); });
      if (got < 0) return NSError::fromErrno(errno, "cannot read " + name);
      if (got == 0) break;
      length += static_cast<std::size_t>(got);
      if (length > kLargestReadableFile) return tooLarge(name);
    }
    contents.resize(length);
    return contents;
  } catch (const std::bad_alloc&) {
    return NSError::fromErrno(ENOMEM, "cannot read " + name);
  }
}

int writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = uninterrupted([&] { return write(file, bytes.data(), bytes.size()); });
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

Result<std::vector<std::string>> namesInFolder(const std::string& path) {
  // The standard library's own iterator ends the process when memory is wanting.
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
  const auto failure = [&] { return NSError::fromErrno(errno, "cannot list the folder " + path); };
  if (!folder) return failure();
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(folder.get());
    if (!entry) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) return failure();
  std::sort(names.begin(), names.end());
  return names;
}

Result<void> makeFolder(const std::string& path, Flush flush) {
  if (uninterrupted([&] { return mkdir(path.c_str(), kFolderMode); }) == 0) {
    if (geteuid() == 0) {
      if (const auto made = openFile(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW))
        giveToOwnerOfFolder(made.get(), parentOfPath(path));
    }
    // What is written into the folder is as safe as its name. Where the folder above may be written
    // to but not read, nothing more can be done.
    if (flush == Flush::Yes) (void)flushFolder(path + "/..");
    return {};
  }
  const int problem = errno;
  struct stat status {};
  if (problem == EEXIST && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return {};
  return NSError::fromErrno(problem, "cannot make the folder " + path);
}

void giveToOwnerOfFolder(int file, const std::string& folder) {
  struct stat around {};
  if (geteuid() != 0 || stat(folder.c_str(), &around) != 0) return;
  if (around.st_uid == 0) return;
  // A file system that keeps no owners refuses, and needs none.
  [[maybe_unused]] const int given = fchown(file, around.st_uid, around.st_gid);
}

Result<void> flushFolder(const FileDescriptor& folder, const std::string& name) {
  if (uninterrupted([&] { return fsync(folder.get()); }) == 0) return {};
  if (errno == EINVAL || errno == EOPNOTSUPP) return {};
  return NSError::fromErrno(errno, "cannot flush the folder " + name);
}

Result<void> flushFolder(const std::string& path) {
  const FileDescriptor folder = openFile(path, O_RDONLY | O_DIRECTORY);
  if (!folder) return NSError::fromErrno(errno, "cannot open the folder " + path);
  return flushFolder(folder, path);
}

}  // namespace tasklane

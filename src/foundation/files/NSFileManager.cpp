#include "foundation/files/NSFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileCoordinator.h"
#include "foundation/files/UserFolder.h"
#include "foundation/files/internal/StagedFile.h"

namespace tasklane {
namespace {

constexpr mode_t kFileMode = 0600;

std::string groupContainersFolder() {
  if (const char* const folder = std::getenv("TASKLANE_GROUP_CONTAINERS"); folder && *folder) {
    return folder;
  }
  return pathOfUserFolder(UserFolder::Data) + "/tasklane";
}

/// 0, or the errno value of the failure.
int giveSecondName(const std::string& path, const std::string& name) {
  if (uninterrupted([&] { return link(path.c_str(), name.c_str()); }) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  // Folders, and files on file systems without links, can only be moved.
  const int moved = uninterrupted(
      [&] { return renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE); });
  return moved == 0 ? 0 : errno;
}

}  // namespace

NSFileManager& NSFileManager::defaultManager() {
  static NSFileManager manager;
  return manager;
}

Result<NSURL> NSFileManager::groupContainer(const std::string& group) {
  if (group.empty() || group.find('/') != std::string::npos || group.starts_with('.')) {
    return NSError{NSError::Kind::Unsupported, "\"" + group + "\" is no name of a group"};
  }
  const NSURL url = NSURL::fileURLWithPath(groupContainersFolder() + "/" + group);
  if (auto made = createDirectoryAtPath(url.path(), true); !made) return made.error();
  // Processes that reach it in different ways name its files alike, and so hear of each other.
  auto path = pathWithLinksFollowed(url.path());
  if (!path) return path.error();
  return NSURL::fileURLWithPath(path.value());
}

std::optional<NSURL> NSFileManager::containerURLForSecurityApplicationGroupIdentifier(
    const std::string& group) {
  auto container = groupContainer(group);
  if (!container) return std::nullopt;
  return std::move(container).value();
}

std::optional<NSURL> NSFileManager::containerURLForBaseGroupContainerIdentifier(
    const std::string& base) {
  return containerURLForSecurityApplicationGroupIdentifier("group." + base);
}

bool NSFileManager::fileExistsAtPath(const std::string& path) const {
  struct stat status {};
  return uninterrupted([&] { return stat(path.c_str(), &status); }) == 0 ||
         (errno != ENOENT && errno != ENOTDIR);
}

Result<void> NSFileManager::createDirectoryAtPath(const std::string& path,
                                                  bool withIntermediateDirectories) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return {};
  if (withIntermediateDirectories) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
      const std::string above = path.substr(0, slash);
      if (fileExistsAtPath(above)) continue;
      if (auto made = makeFolder(above); !made) return made;
    }
  }
  return makeFolder(path);
}

Result<std::vector<std::string>> NSFileManager::contentsOfDirectoryAtPath(
    const std::string& path) const {
  return namesInFolder(path);
}

Result<void> NSFileManager::removeItemAtPath(const std::string& path) {
  std::error_code problem;
  const auto removed = std::filesystem::remove_all(path, problem);
  if (problem) return NSError::fromErrno(problem.value(), "cannot remove " + path);
  if (removed == 0) return NSError::fromErrno(ENOENT, "cannot remove " + path);
  return {};
}

Result<std::string> NSFileManager::setAsideItemAtPath(const std::string& path,
                                                      const std::string& suffix) {
  const auto source = pathWithLinksFollowed(path);
  if (!source) return source.error();
  for (std::uint64_t number = 1;; ++number) {
    const std::string name = source.value() + suffix + std::to_string(number);
    const int failure = giveSecondName(source.value(), name);
    if (failure == 0) return name;
    if (failure != EEXIST) return NSError::fromErrno(failure, "cannot set aside " + path);
  }
}

Result<std::string> NSFileManager::contentsAtPath(const std::string& path) const {
  // O_NONBLOCK: a pipe that nobody writes to must not hold up the opening.
  const FileDescriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file || uninterrupted([&] { return fstat(file.get(), &status); }) != 0)
    return NSError::fromErrno(errno, "cannot open " + path);
  if (S_ISDIR(status.st_mode)) return NSError::fromErrno(EISDIR, "cannot read " + path);
  if (!S_ISREG(status.st_mode))
    return NSError{NSError::Kind::Unsupported,
                   "cannot read " + path + ": it is a pipe or a device, not a file"};
  return readAll(file.get(), path);
}

Result<std::string> NSFileManager::contentsOfInputAtPath(const std::string& path) const {
  if (path == "-") return readAll(STDIN_FILENO, "the standard input");
  const FileDescriptor file = openFile(path, O_RDONLY);
  if (!file) return NSError::fromErrno(errno, "cannot open " + path);
  return readAll(file.get(), path);
}

Result<void> NSFileManager::writeToFile(const std::string& path, std::string_view bytes) {
  FileDescriptor file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC, kFileMode);
  int problem = file ? writeAll(file.get(), bytes) : errno;
  // Some file systems find out about a full disk only when the file is closed.
  if (file && file.close() != 0 && errno != EINTR && problem == 0) problem = errno;
  if (problem == 0) return {};
  NSFileCoordinator::discardStagedWrite(path);
  return NSError::fromErrno(problem, "cannot write " + path);
}

Result<void> NSFileManager::writeToFileAtomically(const std::string& path, std::string_view bytes) {
  static std::atomic<unsigned> count = 0;
  auto target = pathWithLinksFollowed(path);
  if (!target) return target.error();
  StagedFile staged(target.value(), std::to_string(getpid()) + "-" + std::to_string(count++));
  if (auto written = writeToFile(staged.path(), bytes); !written) return written;
  return staged.commit();
}

}  // namespace tasklane

#include "foundation/NSFileManager.h"

#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "foundation/FileDescriptor.h"
#include "foundation/NSFileCoordinator.h"
#include "foundation/StagedFile.h"

namespace tasklane {
namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

std::string homeFolder() {
  if (const char* const home = std::getenv("HOME"); home && *home == '/') return home;
  passwd entry{};
  passwd* found = nullptr;
  std::string buffer(16384, '\0');
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found && found->pw_dir ? found->pw_dir : "";
}

std::string groupContainersFolder() {
  if (const char* const folder = std::getenv("TASKLANE_GROUP_CONTAINERS"); folder && *folder) {
    return folder;
  }
  const char* const data = std::getenv("XDG_DATA_HOME");
  return (data && *data == '/' ? data : homeFolder() + "/.local/share") + std::string("/tasklane");
}

Result<void> makeFolder(const std::string& path) {
  if (mkdir(path.c_str(), kFolderMode) == 0) {
    // What is written into the folder is as safe as its name. Where the folder above may be written
    // to but not read, nothing more can be done.
    [[maybe_unused]] const auto flushed = flushFolder(path + "/..");
    return {};
  }
  const int problem = errno;
  struct stat status {};
  if (problem == EEXIST && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return {};
  return NSError::fromErrno(problem, "cannot make the folder " + path);
}

/// 0, or the errno value of the failure.
int giveSecondName(const std::string& path, const std::string& name) {
  if (link(path.c_str(), name.c_str()) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  // Folders, and files on file systems without links, can only be moved.
  return renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0 ? 0
                                                                                          : errno;
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
  std::error_code failure;
  const auto resolved = std::filesystem::canonical(url.path(), failure);
  return failure ? url : NSURL::fileURLWithPath(resolved);
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
  return stat(path.c_str(), &status) == 0;
}

Result<void> NSFileManager::createDirectoryAtPath(const std::string& path,
                                                  bool withIntermediateDirectories) {
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
  std::vector<std::string> names;
  std::error_code problem;
  for (std::filesystem::directory_iterator entry(path, problem), end; !problem && entry != end;
       entry.increment(problem)) {
    names.push_back(entry->path().filename().string());
  }
  if (problem) return NSError::fromErrno(problem.value(), "cannot list the folder " + path);
  std::sort(names.begin(), names.end());
  return names;
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
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    return NSError::fromErrno(errno, "cannot open " + path);
  }
  if (S_ISDIR(status.st_mode)) return NSError::fromErrno(EISDIR, "cannot read " + path);
  std::string contents;
  std::size_t length = 0;
  // One byte more than the file has, so that its end is met without a further read.
  contents.resize(static_cast<std::size_t>(std::max<off_t>(status.st_size, 0)) + 1);
  for (;;) {
    if (length == contents.size()) contents.resize(length * 2);
    const ssize_t got = read(file.get(), contents.data() + length, contents.size() - length);
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return NSError::fromErrno(errno, "cannot read " + path);
    if (got > 0) length += static_cast<std::size_t>(got);
  }
  contents.resize(length);
  return contents;
}

Result<void> NSFileManager::writeToFile(const std::string& path, std::string_view bytes) {
  FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
  int problem = file ? 0 : errno;
  while (problem == 0 && !bytes.empty()) {
    const ssize_t written = write(file.get(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) problem = errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  // Some file systems find out about a full disk only when the file is closed.
  if (file && file.close() != 0 && problem == 0) problem = errno;
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

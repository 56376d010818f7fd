#include "foundation/events/internal/NotifyFolder.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "foundation/base/NSLog.h"

namespace tasklane {
namespace {

std::string homeFolder() {
  std::array<char, 4096> buffer;
  passwd entry{};
  passwd* found = nullptr;
  getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return found && found->pw_dir && *found->pw_dir == '/' ? found->pw_dir : "/nonexistent";
}

std::string parentOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

/// Nobody but the user and the superuser can move or remove what the user keeps there.
bool isSafeToKeepThingsIn(const struct stat& folder) {
  const bool trusted = folder.st_uid == geteuid() || folder.st_uid == 0;
  const bool othersMayWrite = (folder.st_mode & 022) != 0;
  return S_ISDIR(folder.st_mode) && trusted && (!othersMayWrite || (folder.st_mode & S_ISVTX) != 0);
}

/// FileNotFound when there is no place to make it in.
Result<void> ensureOwn(const std::string& folder) {
  struct stat parent {};
  struct stat status {};
  if (stat(parentOf(folder).c_str(), &parent) != 0) {
    return NSError::fromErrno(errno, "cannot look at the folder around " + folder);
  }
  if (!isSafeToKeepThingsIn(parent)) {
    return NSError{NSError::Kind::NotPermitted,
                   "others may replace " + folder + "; it is not used for notifications"};
  }
  if (lstat(folder.c_str(), &status) != 0) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
      return NSError::fromErrno(errno, "cannot make the folder " + folder);
    }
    if (lstat(folder.c_str(), &status) != 0) {
      return NSError::fromErrno(errno, "cannot look at the folder " + folder);
    }
  }
  if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid()) {
    return NSError{NSError::Kind::NotPermitted,
                   folder + " is not a folder of this user; it is not used for notifications"};
  }
  if ((status.st_mode & 077) != 0 && chmod(folder.c_str(), 0700) != 0) {
    return NSError::fromErrno(errno, "cannot protect the folder " + folder);
  }
  return {};
}

}  // namespace

NotifyFolder NotifyFolder::ofUser() {
  const char* const other = std::getenv("TASKLANE_NOTIFY_FOLDER");
  if (other && *other) return NotifyFolder({other});
  const std::string user = std::to_string(geteuid());
  return NotifyFolder({"/run/user/" + user + "/tasklane-notify", "/dev/shm/tasklane-notify-" + user,
                       "~/.tasklane-notify"});
}

NotifyFolder::NotifyFolder(std::vector<std::string> candidates)
    : candidates_(std::move(candidates)), last_(candidates_.front()) {}

Result<std::string> NotifyFolder::find() {
  auto problem = NSError{NSError::Kind::FileNotFound, "there is no folder for notifications"};
  for (std::string& candidate : candidates_) {
    if (candidate.front() == '~') candidate.replace(0, 1, homeFolder());
    const auto ensured = ensureOwn(candidate);
    if (ensured) {
      // Said once: it stays so while the process lives, as a rule.
      if (last_ != candidate && problem.kind != NSError::Kind::FileNotFound) {
        NSLog(problem.description);
      }
      last_ = candidate;
      return candidate;
    }
    // What may pass in a moment must not drive one process to where the others are not.
    if (ensured.error().kind == NSError::Kind::Io) return ensured.error();
    if (problem.kind == NSError::Kind::FileNotFound) problem = ensured.error();
  }
  return problem;
}

std::vector<std::string> NotifyFolder::wherePreferredOnesAppear() const {
  std::vector<std::string> folders;
  for (const std::string& candidate : candidates_) {
    if (candidate == last_) break;
    std::string folder = parentOf(candidate);
    std::error_code ignored;
    while (!std::filesystem::is_directory(folder, ignored) && folder != "/") {
      folder = parentOf(folder);
    }
    folders.push_back(folder);
  }
  return folders;
}

}  // namespace tasklane

#include "delivery/ContendedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>
#include <utility>

#include "delivery/TaskFiles.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

using std::chrono::milliseconds;

constexpr int kMostAttempts = 100;
constexpr mode_t kModeBits = 07777;
constexpr milliseconds kWriterStarts{100}, kWriterEnds{1000}, kNamelessMoment{20};
/// An abandoned staging file is one that nobody has touched for so long.
constexpr std::time_t kAbandoned = 60;
constexpr const char* kStagingTag = ".tasklane-";

/// What tells contents from those before; a rename leaves it as it is.
struct Mark {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};

  explicit Mark(const struct stat& status)
      : device(status.st_dev),
        inode(status.st_ino),
        size(status.st_size),
        modified(status.st_mtim) {}
  bool operator==(const Mark& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

std::optional<Mark> markAt(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return Mark(status);
}

/// Waits until nobody has an open file for writing. A lease for reading is granted only then; where
/// there are none (other file systems, files of others) nothing is waited for.
void waitForWriters(const FileDescriptor& file, milliseconds limit) {
  // Who opens the file at this moment breaks the lease, and the signal for that would end us.
  if (::fcntl(file.get(), F_SETSIG, SIGURG) != 0) return;
  const auto end = std::chrono::steady_clock::now() + limit;
  while (::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0) {
    if (errno != EAGAIN || std::chrono::steady_clock::now() > end) return;
    std::this_thread::sleep_for(milliseconds(1));
  }
  ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
}

Result<std::string> readFromStart(const FileDescriptor& file, const std::string& path) {
  if (::lseek(file.get(), 0, SEEK_SET) != 0)
    return NSError::fromErrno(errno, "cannot read " + path);
  return readAll(file.get(), path);
}

/// Flushed to disk.
Result<void> write(const FileDescriptor& file, const std::string& contents,
                   const std::string& path) {
  if (const int reason = writeAll(file.get(), contents))
    return NSError::fromErrno(reason, "cannot write " + path);
  if (uninterrupted([&] { return ::fsync(file.get()); }) != 0)
    return NSError::fromErrno(errno, "cannot flush " + path);
  return {};
}

/// A new file beside the target, under a name that no program takes for a task file; removed with
/// its owner unless it was put in the target's place.
class Staging {
 public:
  static Result<Staging> make(const std::string& target) {
    std::string path = stagingPrefix(target) + "XXXXXX";
    FileDescriptor file(::mkostemp(path.data(), O_CLOEXEC));
    if (!file) return NSError::fromErrno(errno, "cannot make a file beside " + target);
    return Staging(std::move(file), std::move(path));
  }
  static std::string stagingPrefix(const std::string& target) {
    return parentOfPath(target) + "/." + shortenedName(nameInPath(target)) + kStagingTag;
  }
  ~Staging() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  Staging(Staging&& other) noexcept
      : file_(std::move(other.file_)), path_(std::exchange(other.path_, {})) {}

  const FileDescriptor& file() const { return file_; }
  const std::string& path() const { return path_; }
  void isPlaced() { path_.clear(); }

 private:
  Staging(FileDescriptor file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}
  FileDescriptor file_;
  std::string path_;
};

/// Gives a new file the owner and the mode of the one that it is to replace.
Result<void> takeOverOwnerAndMode(const FileDescriptor& file, const struct stat& replaced,
                                  const std::string& path) {
  // Who may not give files away keeps them; that is no reason to fail.
  [[maybe_unused]] const int owner = ::fchown(file.get(), replaced.st_uid, replaced.st_gid);
  if (::fchmod(file.get(), replaced.st_mode & kModeBits) != 0)
    return NSError::fromErrno(errno, "cannot set the mode of a new " + path);
  return {};
}

}  // namespace

/// The file as it was found: its contents, and a hold on them that outlives its name.
struct ContendedFile::Version {
  std::string target;  // with links followed
  FileDescriptor file;
  std::optional<Mark> mark;  // none when there was no file
  struct stat status {};
  std::string contents;
};

/// What was written to a file after it had lost its place.
struct ContendedFile::Late {
  std::string added;
  std::optional<std::string> instead;

  bool empty() const { return added.empty() && !instead; }

  static Late in(const FileDescriptor& file, const Mark& known, const std::string& contents) {
    waitForWriters(file, kWriterEnds);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || Mark(status) == known) return {};
    auto now = readFromStart(file, "");
    if (!now || now.value() == contents) return {};
    const bool isAddition = now.value().starts_with(contents) && contents.ends_with('\n');
    if (isAddition) return {now.value().substr(contents.size()), {}};
    return {{}, std::move(now).value()};
  }

  std::string appliedTo(const std::string& contents) const {
    const std::string& base = instead ? *instead : contents;
    const bool joins = !added.empty() && !base.empty() && !base.ends_with('\n');
    return base + (joins ? "\n" : "") + added;
  }
};

struct ContendedFile::Replacement {
  bool isDone = false;
  Late late;
};

Result<ContendedFile::Version> ContendedFile::open() const {
  auto target = pathWithLinksFollowed(path_);
  if (!target) return target.error();
  Version version;
  version.target = std::move(target).value();
  const auto end = std::chrono::steady_clock::now() + kNamelessMoment;
  while (!(version.file = openFile(version.target, O_RDONLY | O_NONBLOCK))) {
    if (errno != ENOENT) return NSError::fromErrno(errno, "cannot open " + path_);
    if (std::chrono::steady_clock::now() > end) {
      if (whenMissing_ == WhenMissing::Begin) return version;
      return NSError{NSError::Kind::FileNotFound, path_ + " is not there"};
    }
    std::this_thread::sleep_for(milliseconds(1));
  }
  if (::fstat(version.file.get(), &version.status) != 0)
    return NSError::fromErrno(errno, "cannot look at " + path_);
  if (!S_ISREG(version.status.st_mode))
    return NSError{NSError::Kind::Unsupported, path_ + " is no regular file"};
  waitForWriters(version.file, kWriterStarts);
  if (::fstat(version.file.get(), &version.status) != 0)
    return NSError::fromErrno(errno, "cannot look at " + path_);
  version.mark = Mark(version.status);
  auto contents = readAll(version.file.get(), path_);
  if (!contents) return contents.error();
  version.contents = std::move(contents).value();
  return version;
}

Result<std::optional<std::string>> ContendedFile::read() const {
  auto version = open();
  if (!version) return version.error();
  if (!version.value().mark) return std::optional<std::string>();
  return std::optional(std::move(version.value().contents));
}

Result<std::optional<std::string>> ContendedFile::stamp() const {
  struct stat status {};
  if (::stat(path_.c_str(), &status) != 0) {
    if (errno == ENOENT) return std::optional<std::string>();
    return NSError::fromErrno(errno, "cannot look at " + path_);
  }
  return std::optional(stampOfFile(status));
}

/// It may be there by a process that was killed before it had flushed it.
Result<void> ContendedFile::flush(const Version& version) const {
  if (!version.mark) return {};
  if (uninterrupted([&] { return ::fsync(version.file.get()); }) != 0)
    return NSError::fromErrno(errno, "cannot flush " + path_);
  return flushFolder(parentOfPath(version.target));
}

Result<void> ContendedFile::change(const Edit& edit) {
  Late late;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const auto old = open();
    if (!old) return old.error();
    removeAbandoned(old.value().target);
    const std::string base = late.appliedTo(old.value().contents);
    const auto contents = edit(base);
    if (!contents && late.empty()) return flush(old.value());
    auto replacement = replace(old.value(), contents ? *contents : base);
    if (!replacement) return replacement.error();
    const bool isDone = replacement.value().isDone;
    if (isDone) late = {};
    if (!replacement.value().late.empty()) late = std::move(replacement.value().late);
    if (isDone && late.empty()) return flushFolder(parentOfPath(old.value().target));
  }
  return NSError{NSError::Kind::Busy, "other programs change " + path_ + " without a pause"};
}

/// Puts the new contents where the old ones are, if they still are.
Result<ContendedFile::Replacement> ContendedFile::replace(const Version& old,
                                                          const std::string& contents) const {
  const std::string folder = parentOfPath(old.target);
  if (whenMissing_ == WhenMissing::Begin) {
    const auto made = NSFileManager::defaultManager().createDirectoryAtPath(folder, true);
    if (!made) return made.error();
  }
  auto staging = Staging::make(old.target);
  if (!staging) return staging.error();
  const FileDescriptor& file = staging.value().file();
  if (!old.mark) {
    giveToOwnerOfFolder(file.get(), folder);
  } else if (const auto taken = takeOverOwnerAndMode(file, old.status, path_); !taken) {
    return taken.error();
  }
  if (const auto written = write(file, contents, path_); !written) return written.error();

  const std::string& fresh = staging.value().path();
  const auto rename = [&](unsigned flags) {
    return ::renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, old.target.c_str(), flags) == 0;
  };
  if (markAt(old.target) != old.mark) return Replacement{};
  Replacement replacement{true, {}};
  if (!old.mark) {
    // A file system may lack the flag; link() replaces nothing either.
    if (rename(RENAME_NOREPLACE)) {
      staging.value().isPlaced();
    } else if (errno == EEXIST || ::link(fresh.c_str(), old.target.c_str()) != 0) {
      if (errno == EEXIST) return Replacement{};
      return NSError::fromErrno(errno, "cannot put " + path_ + " in its place");
    }
  } else if (rename(RENAME_EXCHANGE)) {
    // What was there lies under the staging name now: it must be what the change started from.
    replacement.isDone = markAt(fresh) == old.mark;
    if (!replacement.isDone && !rename(RENAME_EXCHANGE)) {
      const int reason = errno;
      staging.value().isPlaced();  // it is somebody's latest version: it must not be removed
      return NSError::fromErrno(reason, "cannot put " + fresh + " back as " + path_);
    }
  } else if (rename(0)) {
    staging.value().isPlaced();
  } else {
    return NSError::fromErrno(errno, "cannot replace " + path_);
  }
  if (replacement.isDone && old.mark)
    replacement.late = Late::in(old.file, *old.mark, old.contents);
  return replacement;
}

/// Removes what processes that were killed have left, once.
void ContendedFile::removeAbandoned(const std::string& target) {
  if (std::exchange(isSwept_, true)) return;
  const std::string prefix = Staging::stagingPrefix(target);
  const auto names =
      NSFileManager::defaultManager().contentsOfDirectoryAtPath(parentOfPath(target));
  if (!names) return;
  for (const auto& name : names.value()) {
    const std::string path = parentOfPath(target) + "/" + name;
    struct stat status {};
    if (path.starts_with(prefix) && ::lstat(path.c_str(), &status) == 0 &&
        std::time(nullptr) - status.st_ctime > kAbandoned)
      ::unlink(path.c_str());
  }
}

Result<bool> ContendedFile::removeIfStill(const std::string& contents) {
  const auto version = open();
  if (!version) return version.error();
  if (!version.value().mark) return true;
  if (version.value().contents != contents) return false;
  if (::unlink(version.value().target.c_str()) != 0 && errno != ENOENT)
    return NSError::fromErrno(errno, "cannot remove " + path_);
  (void)flushFolder(parentOfPath(version.value().target));
  return true;
}

}  // namespace tasklane

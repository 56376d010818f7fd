#include "foundation/events/internal/NotifyCounter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/StableHash.h"

namespace tasklane {
namespace {

constexpr std::uint64_t kMark = 0x3330'7966'6974'6F6Eu;  // "notify03" in the file
constexpr std::uint64_t kRetired = std::uint64_t{1} << 63;
constexpr std::size_t kPageSize = 4096;
constexpr std::size_t kLongestName = 64 * 1024;
constexpr int kMostNamesOfOneHash = 16;
constexpr int kMostAttempts = 1000;
constexpr std::size_t kMostIdleFiles = 32;
constexpr std::size_t kNameOffset = 2048;

/// 0 for what is no plain file of this user.
std::uint64_t identityOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode) || status.st_uid != geteuid()) return 0;
  return status.st_ino ^ (static_cast<std::uint64_t>(status.st_dev) << 40);
}

std::size_t fileSize(std::size_t nameLength) {
  return (kNameOffset + nameLength + kPageSize - 1) / kPageSize * kPageSize;
}

}  // namespace

/// What the file holds; the name follows. What only posters change and what listeners change when
/// they are about to sleep lie 64 bytes apart, a cache line each.
struct NotifyCounter::Layout {
  struct Row {
    std::atomic<std::uint64_t> pipe;  // identity; its number is the row's
    std::atomic<std::uint32_t> armed;
    std::atomic<std::uint32_t> served;
  };
  std::atomic<std::uint64_t> mark;
  std::atomic<std::uint64_t> posts;
  std::atomic<std::uint64_t> nameLength;
  std::atomic<std::uint64_t> predecessor;
  alignas(64) std::atomic<std::uint32_t> armed;
  std::atomic<std::uint32_t> served;
  std::atomic<std::uint32_t> rowsInUse;  // no later one was ever armed
  alignas(64) Row rows[WakePipe::kMost];
};

struct NotifyCounter::Place {
  std::string folder;
  std::string path;
};

NotifyCounter::NotifyCounter(const Place& place, FileDescriptor file, GuardedMapping mapping,
                             std::uint64_t identity)
    : folder_(place.folder),
      path_(place.path),
      file_(std::move(file)),
      mapping_(std::move(mapping)),
      identity_(identity) {}

NotifyCounter::Layout& NotifyCounter::layout() const {
  return *static_cast<Layout*>(mapping_.data());
}

std::shared_ptr<NotifyCounter> NotifyCounter::map(const Place& place, FileDescriptor file) {
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free && sizeof(Layout) <= kNameOffset);
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || identityOf(status) == 0 ||
      status.st_size < static_cast<off_t>(kPageSize) ||
      status.st_size > static_cast<off_t>(fileSize(kLongestName))) {
    return nullptr;
  }
  GuardedMapping mapping(file.get(), static_cast<std::size_t>(status.st_size));
  if (!mapping.data()) return nullptr;
  return std::shared_ptr<NotifyCounter>(
      new NotifyCounter(place, std::move(file), std::move(mapping), identityOf(status)));
}

bool NotifyCounter::post() {
  std::uint64_t posts = layout().posts.load(std::memory_order_relaxed);
  do {
    if (posts & kRetired) return false;
  } while (!layout().posts.compare_exchange_weak(posts, posts + 1));
  if (layout().mark.load() != kMark) return false;
  wakeSleepers();
  return true;
}

void NotifyCounter::wakeSleepers() {
  const std::uint32_t fileArmed = layout().armed.load();
  if (fileArmed == layout().served.load()) return;
  const std::size_t rows = std::min<std::size_t>(layout().rowsInUse.load(), WakePipe::kMost);
  for (std::size_t number = 0; number < rows; ++number) {
    Layout::Row& row = layout().rows[number];
    const std::uint32_t armed = row.armed.load();
    if (armed == row.served.load()) continue;
    // Without a descriptor to spare there still is the file itself, whose folder listeners watch.
    if (WakePipe::wake(folder_, number, row.pipe.load()) == WakePipe::Woken::Failed) {
      futimens(file_.get(), nullptr);
    }
    row.served.store(armed);
  }
  layout().served.store(fileArmed);
}

std::uint64_t NotifyCounter::count() const { return layout().posts.load() & ~kRetired; }

void NotifyCounter::arm(const WakePipe& pipe) {
  Layout::Row& row = layout().rows[pipe.number()];
  row.pipe.store(pipe.identity());
  ++row.armed;
  std::uint32_t rows = layout().rowsInUse.load();
  while (rows <= pipe.number() && !layout().rowsInUse.compare_exchange_weak(
                                      rows, static_cast<std::uint32_t>(pipe.number() + 1))) {
  }
  ++layout().armed;
}

void NotifyCounter::retire() {
  layout().posts.fetch_or(kRetired);
  wakeSleepers();
}

bool NotifyCounter::retired() const { return (layout().posts.load() & kRetired) != 0; }

bool NotifyCounter::whole() const { return layout().mark.load() == kMark; }

std::uint64_t NotifyCounter::predecessor() const { return layout().predecessor.load(); }

bool NotifyCounter::inPlace() const {
  struct stat named {};
  return lstat(path_.c_str(), &named) == 0 && identityOf(named) == identity_;
}

std::string NotifyCounter::storedName() const {
  const std::uint64_t length = layout().nameLength.load();
  if (length > kLongestName || fileSize(length) != mapping_.size()) return {};
  return {static_cast<const char*>(mapping_.data()) + kNameOffset,
          static_cast<std::size_t>(length)};
}

namespace {

/// A whole new file beside the path, for the caller to put in its place.
Result<std::string> makeFresh(const std::string& path, const std::string& name,
                              std::uint64_t predecessor) {
  std::string contents(fileSize(name.size()), '\0');
  const std::uint64_t head[] = {kMark, 0, name.size(), predecessor};
  std::memcpy(contents.data(), head, sizeof head);
  std::memcpy(contents.data() + kNameOffset, name.data(), name.size());
  std::string fresh = path + ".new-XXXXXX";
  FileDescriptor file(mkostemp(fresh.data(), O_CLOEXEC));
  if (!file) return NSError::fromErrno(errno, "cannot make " + fresh);
  const ssize_t written = write(file.get(), contents.data(), contents.size());
  if (written == static_cast<ssize_t>(contents.size())) return fresh;
  const int problem = written < 0 ? errno : ENOSPC;
  unlink(fresh.c_str());
  return NSError::fromErrno(problem, "cannot write " + fresh);
}

FileDescriptor openFile(const std::string& path) {
  return FileDescriptor(
      open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

std::uint64_t identityOf(const FileDescriptor& file) {
  struct stat status {};
  return file && fstat(file.get(), &status) == 0 ? identityOf(status) : 0;
}

}  // namespace

/// Puts a new file at a path that leads to nothing. Somebody else being first is no failure, nor is
/// one who takes the new file for a leftover.
Result<void> NotifyCounter::createAt(const Place& place, const std::string& name,
                                     std::uint64_t before) {
  removeUnused(place.folder);
  const auto fresh = makeFresh(place.path, name, before);
  if (!fresh) return fresh.error();
  const int problem = link(fresh.value().c_str(), place.path.c_str()) == 0 ? 0 : errno;
  unlink(fresh.value().c_str());
  if (problem == 0 || problem == EEXIST || problem == ENOENT) return {};
  return NSError::fromErrno(problem, "cannot make " + place.path);
}

/// Puts a new file in the place of a bad one. What stood there at that very moment is retired, so
/// that whoever has it mapped learns of it: it may be a good one that another process put there.
Result<void> NotifyCounter::replaceAt(const Place& place, const std::string& name,
                                      std::uint64_t before) {
  const auto fresh = makeFresh(place.path, name, before);
  if (!fresh) return fresh.error();
  const char* const displaced = fresh.value().c_str();
  if (renameat2(AT_FDCWD, displaced, AT_FDCWD, place.path.c_str(), RENAME_EXCHANGE) != 0) {
    const int problem = errno;
    unlink(displaced);
    if (problem == ENOENT) return {};
    return NSError::fromErrno(problem, "cannot replace " + place.path);
  }
  FileDescriptor file = openFile(displaced);
  if (const auto old = file ? map(place, std::move(file)) : nullptr) old->retire();
  std::error_code ignored;
  std::filesystem::remove_all(displaced, ignored);
  return {};
}

/// Removes the files that no process has open, when they have become many.
void NotifyCounter::removeUnused(const std::string& folder) {
  const auto names = namesInFolder(folder);
  if (!names) return;
  std::vector<std::string> files;
  for (const std::string& name : names.value()) {
    std::error_code ignored;
    const std::string path = folder + "/" + name;
    if (std::filesystem::is_regular_file(path, ignored)) files.push_back(path);
  }
  if (files.size() <= kMostIdleFiles) return;
  for (const std::string& path : files) remove({folder, path});
}

void NotifyCounter::remove(const Place& place) {
  FileDescriptor file = openFile(place.path);
  const std::uint64_t identity = identityOf(file);
  if (identity == 0 || flock(file.get(), LOCK_EX | LOCK_NB) != 0) return;
  // Who opens it from now on cannot have its lock, and puts another one there.
  const auto unused = map(place, std::move(file));
  if (unused) unused->retire();
  std::string aside = place.path + ".old-" + std::to_string(identity);
  if (rename(place.path.c_str(), aside.c_str()) != 0) return;
  FileDescriptor moved = openFile(aside);
  if (identityOf(moved) != identity && link(aside.c_str(), place.path.c_str()) != 0) {
    // It was that other one, and there is a third by now.
    if (const auto displaced = map(place, std::move(moved))) displaced->retire();
  }
  unlink(aside.c_str());
}

Result<std::shared_ptr<NotifyCounter>> NotifyCounter::open(const std::string& folder,
                                                           const std::string& name,
                                                           std::uint64_t before) {
  if (name.size() > kLongestName) {
    return NSError{NSError::Kind::Unsupported, "the name of a notification is too long"};
  }
  const std::string hash = stableHashText(name);
  int slot = 0;
  for (int attempt = 0; attempt < kMostAttempts && slot < kMostNamesOfOneHash; ++attempt) {
    const Place place{folder, folder + "/" + hash + "." + std::to_string(slot)};
    FileDescriptor file = openFile(place.path);
    const int problem = file ? 0 : errno;
    if (problem == ENOENT) {
      if (auto created = createAt(place, name, before); !created) return created.error();
      continue;
    }
    if (problem == EMFILE || problem == ENFILE || problem == ENOMEM || problem == EIO) {
      return NSError::fromErrno(problem, "cannot open " + place.path);
    }
    const std::uint64_t identity = identityOf(file);
    const bool beingRemoved =
        file && flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    const auto counter = file ? map(place, std::move(file)) : nullptr;
    if (counter && counter->usable() && !beingRemoved) {
      const std::string stored = counter->storedName();
      if (stored == name) return counter;
      if (stableHashText(stored) == hash) {  // another name that happens to have the same hash
        ++slot;
        continue;
      }
    }
    if (!beingRemoved && (!counter || !counter->retired())) {
      NSLog(stringWithFormat("replacing the damaged notification file %@", {place.path}));
    }
    if (auto replaced = replaceAt(place, name, identity); !replaced) return replaced.error();
  }
  return NSError{NSError::Kind::Io, "the notification files in " + folder + " keep changing"};
}

}  // namespace tasklane

#include "foundation/NotifyCounter.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "foundation/NSLog.h"
#include "foundation/StableHash.h"

namespace tasklane {
namespace {

constexpr std::uint64_t kMark = 0x3230'7966'6974'6F6Eu;  // "notify02" in the file
constexpr std::uint64_t kRetired = std::uint64_t{1} << 63;
constexpr std::size_t kPageSize = 4096;
constexpr std::size_t kLongestName = 64 * 1024;
constexpr int kMostNamesOfOneHash = 16;
constexpr int kMostAttempts = 1000;

}  // namespace

/// What the file holds; the name follows. What only posters change and what listeners change when
/// they begin to wait lie 64 bytes apart, a cache line each.
struct NotifyCounter::Layout {
  std::atomic<std::uint64_t> mark;
  std::atomic<std::uint64_t> posts;
  std::atomic<std::uint64_t> nameLength;
  alignas(64) std::atomic<std::uint32_t> sleepersArmed;
  std::atomic<std::uint32_t> sleepersServed;
  std::atomic<std::uint32_t> watchersArmed;
  std::atomic<std::uint32_t> watchersServed;
  SharedFutex::Word bell;  // changes whenever sleepers are woken
};

namespace {

constexpr std::size_t kNameOffset = 256;

std::size_t fileSize(std::size_t nameLength) {
  return (kNameOffset + nameLength + kPageSize - 1) / kPageSize * kPageSize;
}

bool isOwnPlainFile(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

}  // namespace

NotifyCounter::Layout& NotifyCounter::layout() const {
  return *static_cast<Layout*>(mapping_.data());
}

std::shared_ptr<NotifyCounter> NotifyCounter::map(const std::string& path, FileDescriptor file) {
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free && sizeof(Layout) <= kNameOffset);
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !isOwnPlainFile(status) ||
      status.st_size < static_cast<off_t>(kPageSize) ||
      status.st_size > static_cast<off_t>(fileSize(kLongestName))) {
    return nullptr;
  }
  GuardedMapping mapping(file.get(), static_cast<std::size_t>(status.st_size));
  if (!mapping.data()) return nullptr;
  return std::shared_ptr<NotifyCounter>(
      new NotifyCounter(path, std::move(file), std::move(mapping)));
}

namespace {

template <class Wake>
void serve(const std::atomic<std::uint32_t>& armedNow, std::atomic<std::uint32_t>& served,
           const Wake& wake) {
  const std::uint32_t armed = armedNow.load();
  std::uint32_t last = served.load();
  if (armed == last) return;
  wake();
  // Only forwards: a slower poster must not take back what a later one has served.
  while (static_cast<std::int32_t>(armed - last) > 0 &&
         !served.compare_exchange_weak(last, armed)) {
  }
}

}  // namespace

bool NotifyCounter::post() {
  std::uint64_t posts = layout().posts.load(std::memory_order_relaxed);
  do {
    if (posts & kRetired) return false;
  } while (!layout().posts.compare_exchange_weak(posts, posts + 1));
  if (layout().mark.load() != kMark) return false;
  serve(layout().sleepersArmed, layout().sleepersServed, [this] { wakeSleepers(kPostBit); });
  serve(layout().watchersArmed, layout().watchersServed, [this] { wakeWatchers(); });
  return true;
}

std::uint64_t NotifyCounter::count() const { return layout().posts.load() & ~kRetired; }

void NotifyCounter::armWatcher() { layout().watchersArmed.fetch_add(1); }

SharedFutex::Awaited NotifyCounter::armSleeper() {
  // The bell first: if it rings from now on, the sleep does not begin.
  const SharedFutex::Awaited awaited{&layout().bell, layout().bell.load()};
  layout().sleepersArmed.fetch_add(1);
  return awaited;
}

void NotifyCounter::wakeWatchers() {
  // Reading is an event for whoever watches the file as writing is, but takes less, and neither a
  // full disk nor a limit on the size of files stands in its way.
  char byte;
  [[maybe_unused]] const ssize_t got = pread(file_.get(), &byte, 1, 0);
}

void NotifyCounter::wakeSleepers(std::uint32_t bits) {
  layout().bell.fetch_add(1);
  SharedFutex::wake(layout().bell, bits);
}

void NotifyCounter::restoreLength() {
  const auto length = static_cast<off_t>(mapping_.size());
  struct stat status {};
  if (fstat(file_.get(), &status) != 0 || status.st_size >= length) return;
  [[maybe_unused]] const int failure = ftruncate(file_.get(), length);
}

void NotifyCounter::retire() {
  layout().posts.fetch_or(kRetired);
  wakeSleepers();
  wakeWatchers();
}

void NotifyCounter::spoil() { layout().mark.store(0); }

bool NotifyCounter::retired() const { return (layout().posts.load() & kRetired) != 0; }

bool NotifyCounter::whole() const { return layout().mark.load() == kMark; }

bool NotifyCounter::usable() const { return whole() && !retired(); }

bool NotifyCounter::inPlace() const {
  struct stat opened {};
  struct stat named {};
  return fstat(file_.get(), &opened) == 0 && lstat(path_.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

std::string NotifyCounter::storedName() const {
  const std::uint64_t length = layout().nameLength.load();
  if (length > kLongestName || fileSize(length) != mapping_.size()) return {};
  return {static_cast<const char*>(mapping_.data()) + kNameOffset,
          static_cast<std::size_t>(length)};
}

namespace {

/// A whole new file beside the path, for the caller to put in its place.
Result<std::string> makeFresh(const std::string& path, const std::string& name) {
  std::string contents(fileSize(name.size()), '\0');
  const std::uint64_t mark = kMark;
  const std::uint64_t length = name.size();
  std::memcpy(contents.data(), &mark, sizeof mark);
  std::memcpy(contents.data() + 2 * sizeof mark, &length, sizeof length);
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

}  // namespace

/// Puts a new file at a path that leads to nothing. Somebody else being first is no failure.
Result<void> NotifyCounter::createAt(const std::string& path, const std::string& name) {
  const auto fresh = makeFresh(path, name);
  if (!fresh) return fresh.error();
  const int problem = link(fresh.value().c_str(), path.c_str()) == 0 ? 0 : errno;
  unlink(fresh.value().c_str());
  if (problem == 0 || problem == EEXIST) return {};
  return NSError::fromErrno(problem, "cannot make " + path);
}

/// Puts a new file in the place of a bad one. What stood there at that very moment is retired, so
/// that whoever has it mapped learns of it: it may be a good one that another process put there.
Result<void> NotifyCounter::replaceAt(const std::string& path, const std::string& name) {
  const auto fresh = makeFresh(path, name);
  if (!fresh) return fresh.error();
  const char* const displaced = fresh.value().c_str();
  if (renameat2(AT_FDCWD, displaced, AT_FDCWD, path.c_str(), RENAME_EXCHANGE) != 0) {
    const int problem = errno;
    unlink(displaced);
    if (problem == ENOENT) return {};
    return NSError::fromErrno(problem, "cannot replace " + path);
  }
  FileDescriptor file(::open(displaced, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (const auto old = file ? map(path, std::move(file)) : nullptr) {
    old->retire();
  }
  std::error_code ignored;
  std::filesystem::remove_all(displaced, ignored);
  return {};
}

Result<std::shared_ptr<NotifyCounter>> NotifyCounter::open(const std::string& folder,
                                                           const std::string& name) {
  if (name.size() > kLongestName) {
    return NSError{NSError::Kind::Unsupported, "the name of a notification is too long"};
  }
  const std::string hash = stableHashText(name);
  int slot = 0;
  for (int attempt = 0; attempt < kMostAttempts && slot < kMostNamesOfOneHash; ++attempt) {
    const std::string path = folder + "/" + hash + "-" + std::to_string(slot);
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    const int problem = file ? 0 : errno;
    if (problem == ENOENT) {
      if (auto created = createAt(path, name); !created) return created.error();
      continue;
    }
    if (problem == EMFILE || problem == ENFILE || problem == ENOMEM) {
      return NSError::fromErrno(problem, "cannot open " + path);
    }
    const auto counter = file ? map(path, std::move(file)) : nullptr;
    if (counter && counter->usable()) {
      const std::string stored = counter->storedName();
      if (stored == name) return counter;
      if (stableHashText(stored) == hash) {  // another name that happens to have the same hash
        ++slot;
        continue;
      }
    }
    if (!counter || !counter->retired()) {
      NSLog(stringWithFormat("replacing the damaged notification file %@", {path}));
    }
    if (auto replaced = replaceAt(path, name); !replaced) return replaced.error();
  }
  return NSError{NSError::Kind::Io, "the notification files in " + folder + " keep changing"};
}

}  // namespace tasklane

#include "foundation/files/NSFileCoordinator.h"

#include <string>
#include <vector>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/files/CoordinationLock.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/internal/StagedFile.h"

namespace tasklane {
namespace {

/// One coordination under way on this thread.
struct Coordination {
  std::string target;
  bool writes = false;
  StagedFile* staged = nullptr;            // of a write that is not for deleting
  const CoordinationLock* lock = nullptr;  // of the outermost one
};

/// The coordinations of this thread, outermost first.
std::vector<const Coordination*>& underWay() {
  thread_local std::vector<const Coordination*> coordinations;
  return coordinations;
}

/// Runs an accessor as a part of a coordination.
void access(const Coordination& coordination, const NSFileCoordinator::Accessor& accessor,
            const NSURL& url) {
  struct Entry {
    explicit Entry(const Coordination& entered) { underWay().push_back(&entered); }
    ~Entry() { underWay().pop_back(); }
  };
  const Entry entry(coordination);
  accessor(url);
}

/// What this thread already does with a file.
struct Enclosing {
  explicit Enclosing(const std::string& target) {
    for (const Coordination* const coordination : underWay()) {
      if (coordination->target != target) continue;
      (coordination->writes ? writes : reads) = true;
      if (coordination->lock) lock = coordination->lock;
      if (coordination->staged) staged.push_back(coordination->staged);
    }
  }

  bool reads = false;
  bool writes = false;
  const CoordinationLock* lock = nullptr;
  std::vector<StagedFile*> staged;  // outermost first
};

/// Staged files of a target are told apart by their depth on this thread and by the lock, so that
/// two writers cannot get in each other's way when somebody removes the lock file.
std::string stagingTag(std::size_t depth, const CoordinationLock& lock) {
  return std::to_string(depth) + "-" + std::to_string(lock.number());
}

/// With the lock held nobody writes, so what is staged was left by a process that was killed.
void removeAbandoned(const std::string& target, const CoordinationLock& lock) {
  std::size_t depth = 0;
  while (StagedFile::removeAbandoned(target, stagingTag(depth, lock))) ++depth;
}

/// A write inside a write of the same file replaces what that has staged so far; only the outermost
/// one touches the target.
Result<void> writeStaged(Coordination& coordination, const Enclosing& enclosing,
                         const NSFileCoordinator::Accessor& accessor) {
  const CoordinationLock& lock = enclosing.lock ? *enclosing.lock : *coordination.lock;
  StagedFile staged(coordination.target, stagingTag(enclosing.staged.size(), lock));
  coordination.staged = &staged;
  access(coordination, accessor, NSURL::fileURLWithPath(staged.path()));
  if (enclosing.staged.empty()) return staged.commit([&] { return lock.check(); });
  return staged.exists() ? staged.moveTo(enclosing.staged.back()->path()) : Result<void>();
}

Result<void> writeForDeleting(const Coordination& coordination, const Enclosing& enclosing,
                              const NSFileCoordinator::Accessor& accessor) {
  const auto& target = coordination.target;
  access(coordination, accessor, NSURL::fileURLWithPath(target));
  if (!NSFileManager::defaultManager().fileExistsAtPath(target)) {
    for (StagedFile* const staged : enclosing.staged) staged->discard();
  }
  const std::string folder = parentOfPath(target);
  if (!NSFileManager::defaultManager().fileExistsAtPath(folder)) return {};
  if (const auto flushed = flushFolder(folder); !flushed)
    NSLog(flushed.error().description + "; what was removed there may come back in a power cut");
  return {};
}

}  // namespace

Result<void> NSFileCoordinator::coordinateReadingItemAtURL(const NSURL& url,
                                                           NSFileCoordinatorReadingOptions,
                                                           const Accessor& byAccessor) {
  auto target = pathWithLinksFollowed(url.path());
  if (!target) return target.error();
  const Coordination coordination{target.value(), false, nullptr, nullptr};
  const Enclosing enclosing(coordination.target);
  for (auto staged = enclosing.staged.rbegin(); staged != enclosing.staged.rend(); ++staged) {
    if (!(*staged)->exists()) continue;
    access(coordination, byAccessor, NSURL::fileURLWithPath((*staged)->path()));
    return {};
  }
  if (enclosing.reads || enclosing.writes) {
    access(coordination, byAccessor, url);
    return {};
  }
  auto lock = CoordinationLock::acquire(coordination.target, CoordinationLock::Mode::Shared);
  if (!lock) return lock.error();
  access(coordination, byAccessor, url);
  return {};
}

Result<void> NSFileCoordinator::coordinateWritingItemAtURL(const NSURL& url,
                                                           NSFileCoordinatorWritingOptions options,
                                                           const Accessor& byAccessor) {
  auto target = pathWithLinksFollowed(url.path());
  if (!target) return target.error();
  Coordination coordination{target.value(), true, nullptr, nullptr};
  const Enclosing enclosing(coordination.target);
  if (enclosing.reads && !enclosing.writes) {
    return NSError{NSError::Kind::Unsupported,
                   "cannot write " + url.path() + " while the same thread reads it"};
  }
  const auto write = [&]() -> Result<void> {
    switch (options) {
      case NSFileCoordinatorWritingOptions::ForDeleting:
        return writeForDeleting(coordination, enclosing, byAccessor);
      case NSFileCoordinatorWritingOptions::ForMerging:
        access(coordination, byAccessor, url);
        return {};
      default:
        return writeStaged(coordination, enclosing, byAccessor);
    }
  };
  if (enclosing.writes) return write();
  auto lock = CoordinationLock::acquire(coordination.target, CoordinationLock::Mode::Exclusive);
  if (!lock) return lock.error();
  coordination.lock = &lock.value();
  removeAbandoned(coordination.target, lock.value());
  return write();
}

void NSFileCoordinator::discardStagedWrite(const std::string& path) {
  for (const Coordination* const coordination : underWay()) {
    if (coordination->staged && coordination->staged->path() == path) {
      coordination->staged->discard();
    }
  }
}

}  // namespace tasklane

#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"
#include "foundation/files/internal/LockWait.h"

namespace tasklane {

/// The right to read or to write one file, held against every other holder in this and all other
/// processes until destroyed; released by the kernel when a process dies.
class CoordinationLock {
 public:
  using Mode = lockwait::Mode;

  /// Waits until it is had, in the order of coming. Kind Busy after the limit (ten seconds, or what
  /// the variable TASKLANE_LOCK_LIMIT says), with the holder's name; Interrupted when the process
  /// is asked to end meanwhile (see Interruption). Any thread.
  ///
  /// The target's path has its links followed. Where nothing can be stored (a read-only or a full
  /// disk, a folder that does not exist yet) and there is no lock file, a reader is let in without
  /// one: it sees old or new contents whole in any case.
  static Result<CoordinationLock> acquire(const std::string& target, Mode mode);

  /// An error when somebody has removed the lock file, so that others may hold the lock as well.
  Result<void> check() const;

  /// A number that no lock of the same target has that could be held at the same time, were the
  /// lock file removed.
  std::uint64_t number() const { return status_.st_ino; }

  /// Has a function called many times a second while the calling thread waits for a lock, so that a
  /// program with a screen can keep painting. It must not take locks. For the thread that sets it.
  static void setWaitingHook(std::function<void()> hook) { lockwait::setHook(std::move(hook)); }

  /// Where the lock of a target lies: in the folder ".coordination" at the root of the group
  /// container that encloses it, or beside it.
  static std::string lockFile(const std::string& target);

 private:
  CoordinationLock(FileDescriptor file, std::string path);

  FileDescriptor file_;
  std::string path_;
  struct stat status_ {};
};

}  // namespace tasklane

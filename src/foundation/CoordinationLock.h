#pragma once

#include <functional>
#include <string>

#include "foundation/FileDescriptor.h"
#include "foundation/NSError.h"

namespace tasklane {

/// The right to read or to write one file, held against every other holder in this and all other
/// processes until destroyed. Blocks until it is had; released by the kernel when a process dies.
class CoordinationLock {
 public:
  enum class Mode { Shared, Exclusive };

  /// The target's path has its links followed. Where nothing can be stored (a read-only or a full
  /// disk, a folder that does not exist yet) and there is no lock file, a reader is let in without
  /// one: it sees old or new contents whole in any case.
  static Result<CoordinationLock> acquire(const std::string& target, Mode mode);

  /// Has a function called many times a second while the calling thread waits for a lock, so that a
  /// program with a screen can keep painting. It must not take locks. For the thread that sets it.
  static void setWaitingHook(std::function<void()> hook);

  /// Where the lock of a target lies: in the folder ".coordination" at the root of the group
  /// container that encloses it, or beside it.
  static std::string lockFile(const std::string& target);

 private:
  explicit CoordinationLock(FileDescriptor file) : file_(std::move(file)) {}
  FileDescriptor file_;
};

}  // namespace tasklane

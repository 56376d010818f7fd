#pragma once

#include <string>

#include "foundation/NSError.h"

namespace tasklane {

/// The path that a path leads to: absolute, every link on the way followed, also one at its end
/// that leads to nothing yet. The file and the folders above it need not exist.
Result<std::string> pathWithLinksFollowed(const std::string& path);

/// New contents of a file, prepared beside it under another name and put in its place whole.
///
/// Whoever writes does so at path(); the folder may be made meanwhile. A staged file that is not
/// committed is removed with its owner. One thread.
class StagedFile {
 public:
  /// The target's path has its links followed. The tag tells stagings of one target apart.
  StagedFile(std::string target, const std::string& tag);

  /// Removes what a process that was killed has left; whether there was such a file.
  static bool removeAbandoned(const std::string& target, const std::string& tag);

  ~StagedFile() { discard(); }
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  const std::string& path() const { return path_; }
  bool exists() const;

  /// Throws away what was written so far; writing may begin again.
  void discard();

  /// Flushes to disk, renames over the target and flushes the folder. Nothing happens when nothing
  /// was written. The target keeps its mode and owner, a new one belongs to its owner alone (0600).
  /// On an error the target is unchanged, unless it says that the folder could not be flushed.
  Result<void> commit();

  /// Renames over a path without flushing anything, for a path that is itself staged.
  Result<void> moveTo(const std::string& path);

 private:
  Result<bool> flushContents() const;

  std::string target_;
  std::string path_;
  bool moved_ = false;
  bool unusable_ = false;
};

/// Flushes a folder's entries to disk. On a file system that cannot (some of the network's) they
/// are as safe as they can be.
Result<void> flushFolder(const std::string& path);

}  // namespace tasklane

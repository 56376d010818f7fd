#pragma once

#include <functional>
#include <string>

#include "foundation/base/NSError.h"

namespace tasklane {

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
  /// `mayReplace` is asked at the last moment.
  ///
  /// On an error the target is unchanged. A folder that cannot be flushed is none: the contents are
  /// in place then, everybody reads them, and only a power cut could still undo it; the console is
  /// told.
  Result<void> commit(const std::function<Result<void>()>& mayReplace = {});

  /// Renames over a path without flushing anything, for a path that is itself staged.
  Result<void> moveTo(const std::string& path);

 private:
  Result<bool> flushContents() const;

  std::string target_;
  std::string path_;
  bool moved_ = false;
  bool unusable_ = false;
};

}  // namespace tasklane

#pragma once

#include <sys/stat.h>

#include <string>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// What lay at a path at one moment: a file in the state that it then had, or nothing. While this
/// lives the system gives the file's number to no other file, so that a replaced file is told from
/// the one before it, however quickly it was replaced. Any thread, one at a time.
class FileVersion {
 public:
  /// Nothing.
  FileVersion() = default;
  /// Links are followed. An error when the system does not say what lies there.
  static Result<FileVersion> ofItemAtPath(const std::string& path);

  /// Whether the path still leads to the same file, neither replaced nor written to, or still to
  /// nothing. False also when the system does not say.
  bool isStillAtPath(const std::string& path) const;

 private:
  FileDescriptor file_;  // without access to the contents
  struct stat status_ {};
};

}  // namespace tasklane

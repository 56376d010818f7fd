#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/NSError.h"
#include "foundation/NSFileManager.h"

namespace tasklane {

/// What tells a file's contents from those it had before: it changes with every replacement and
/// with every write in place.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modificationSeconds = 0;
  std::int64_t modificationNanoseconds = 0;
  bool operator==(const FileIdentity&) const = default;
};

/// The identity of what lies at a path (links followed); none when nothing does. Any thread.
std::optional<FileIdentity> fileIdentityOfItemAtPath(const NSFileManager& manager,
                                                     const std::string& path);

/// Gives what lies at a path the first free name of the form "<path><suffix>1", "<path><suffix>2"
/// and so on, never replacing anything, and answers that name. A file may keep its old name beside
/// the new one until it is replaced there, so that at no moment it has none; a folder is moved.
/// A link at the path is followed. Any thread.
Result<std::string> setAsideItemAtPath(const NSFileManager& manager, const std::string& path,
                                       const std::string& suffix);

}  // namespace tasklane

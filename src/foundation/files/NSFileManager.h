#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

/// Files and folders by path. Files that it makes are readable by their owner alone (0600), folders
/// are 0700; those that the superuser makes in a folder of somebody else become that person's. Any
/// thread.
class NSFileManager {
 public:
  static NSFileManager& defaultManager();

  /// The folder of an application group, for example "group.com.kestrelworks.Tasklane": inside the
  /// folder that TASKLANE_GROUP_CONTAINERS names, else in $XDG_DATA_HOME/tasklane (~/.local/share/
  /// tasklane where that is unset or not absolute). It is made, with the folders above it. None
  /// when it cannot be made; groupContainer() says why. All links on the way to it are followed.
  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(const std::string& group);
  Result<NSURL> groupContainer(const std::string& group);

  /// The same for a base identifier such as "com.kestrelworks.Tasklane": the group's name is the
  /// base identifier with "group." in front.
  std::optional<NSURL> containerURLForBaseGroupContainerIdentifier(const std::string& base);

  /// False only where there is surely nothing. What cannot be looked at (no permission, a disk that
  /// fails) counts as there, so that nobody takes its place and whoever reads it is told why.
  bool fileExistsAtPath(const std::string& path) const;
  Result<void> createDirectoryAtPath(const std::string& path, bool withIntermediateDirectories);
  Result<std::vector<std::string>> contentsOfDirectoryAtPath(const std::string& path) const;
  Result<void> removeItemAtPath(const std::string& path);

  /// Gives what lies at a path the first free name of the form "<path><suffix>1", "<path><suffix>2"
  /// and so on, never replacing anything, and answers that name. A file may keep its old name
  /// beside the new one until it is replaced there, so that at no moment it has none; a folder is
  /// moved. A link at the path is followed.
  Result<std::string> setAsideItemAtPath(const std::string& path, const std::string& suffix);

  /// The whole file. A folder, a pipe, a device, an unreadable or a missing file, and one of more
  /// than 256 MB, is an error that names it. Never waits for anybody.
  Result<std::string> contentsAtPath(const std::string& path) const;

  /// The same for what a person names as input: also of a pipe or a device, until it ends; "-" is
  /// the standard input.
  Result<std::string> contentsOfInputAtPath(const std::string& path) const;

  /// Writes in place, replacing what was there; a failure may leave a part of the file, except that
  /// a coordinated write's staging file is discarded (see NSFileCoordinator).
  Result<void> writeToFile(const std::string& path, std::string_view bytes);

  /// Writes beside the path, flushes, renames over it and flushes the folder: a reader sees the old
  /// or the new contents whole, and a failure leaves the old ones and no other file.
  Result<void> writeToFileAtomically(const std::string& path, std::string_view bytes);
};

}  // namespace tasklane

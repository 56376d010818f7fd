#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/base/FileSystem.h"

namespace tasklane {

/// A file without a name, kept on the disk that it is meant for (not in memory), until it is given
/// one. Readable by its owner alone. Dropping it leaves nothing behind, nor does the end of the
/// process. Any thread, one at a time.
class UnnamedFile {
 public:
  /// A new empty one on the file system of a folder.
  static Result<std::shared_ptr<UnnamedFile>> makeInFolder(const std::string& folder);
  ~UnnamedFile();
  UnnamedFile(const UnnamedFile&) = delete;
  UnnamedFile& operator=(const UnnamedFile&) = delete;

  int fileDescriptor() const { return fileDescriptor_; }
  const std::string& folder() const { return folder_; }

  /// Appends all of the bytes, or is an error.
  Result<void> write(const void* bytes, std::size_t count);

  /// Flushes several in far less time than each would take, where they are so many that it is worth
  /// flushing whatever else has been written to their disks. Any that this fails for are not
  /// flushed.
  static void flushTogether(const std::vector<std::shared_ptr<UnnamedFile>>& files);

  /// Waits until what it holds is on the disk. It takes long for a photo, so whoever prepares one
  /// on a thread of its own does it there, and giving it a name is then quick.
  Result<void> flush();

  /// Flushes it to disk, where flush() has not, and gives it a path on the same file system, never
  /// replacing: an error of kind Exists when there is something at the path already (the file then
  /// still has no name). The path's folder is flushed too, so that the name survives a power cut,
  /// or not, where the caller does it once for many.
  Result<void> linkToPath(const std::string& path, Flush folder = Flush::Yes);

 private:
  UnnamedFile(int fileDescriptor, std::string folder, std::string hiddenPath);

  int fileDescriptor_;
  bool flushed_ = false;
  std::string folder_;
  /// The file's stand-in name on a file system that knows no nameless files, else empty.
  std::string hiddenPath_;
};

}  // namespace tasklane

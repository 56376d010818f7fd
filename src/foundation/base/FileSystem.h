#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

/// The steps on files that the units of this folder share. A system call that a signal interrupted
/// is made again. Any thread.
namespace tasklane {

/// What is larger is no file for a program of this kind: it is refused before memory is taken.
inline constexpr std::size_t kLargestReadableFile = std::size_t{256} << 20;

/// Makes a system call (a function that answers a negative number and sets errno when it failed)
/// until no signal interrupts it.
template <class Call>
auto uninterrupted(const Call& call) {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

/// open(2), closed in programs that are started, never making a terminal this process's own. On a
/// failure the descriptor is none and errno says why.
FileDescriptor openFile(const std::string& path, int flags, mode_t mode = 0);

/// "/a/b" of "/a/b/c", "/" of "/a", "." of a name alone.
std::string parentOfPath(const std::string& path);
std::string nameInPath(const std::string& path);

/// A file's name cut so that some 50 bytes can be put around it; what was cut still tells two
/// apart.
std::string shortenedName(const std::string& name);

/// The path that a path leads to: absolute, every link on the way followed, also one at its end
/// that leads to nothing yet. The file and the folders above it need not exist.
Result<std::string> pathWithLinksFollowed(const std::string& path);

/// Whether a path, a link at its end not followed, leads to the file that has a status; an error
/// when the system does not say.
Result<bool> leadsToFile(const std::string& path, const struct stat& status);

/// All that can be read from an open file on; the name is for errors. An error when there is more
/// than kLargestReadableFile, or more than memory holds.
Result<std::string> readAll(int file, const std::string& name);

/// Writes all of the bytes; 0, or the errno value of the failure.
int writeAll(int file, std::string_view bytes);

/// What a folder holds, sorted.
Result<std::vector<std::string>> namesInFolder(const std::string& path);

/// Makes one folder (0700); one that is there already is no error. Without a flush of the folder
/// above it, it may be gone after a power cut.
enum class Flush { Yes, No };
Result<void> makeFolder(const std::string& path, Flush flush = Flush::Yes);

/// What the superuser makes in somebody's folder belongs to that somebody, who could not use it
/// otherwise. For a file or folder that this process has just made there.
void giveToOwnerOfFolder(int file, const std::string& folder);

/// Flushes an open folder's entries to disk. Some file systems cannot, which is no error: there the
/// entries are as safe as they can be. The name is for errors.
Result<void> flushFolder(const FileDescriptor& folder, const std::string& name);
Result<void> flushFolder(const std::string& path);

}  // namespace tasklane

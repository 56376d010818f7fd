#include "foundation/events/internal/WakePipe.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <mutex>
#include <utility>

#include "foundation/base/FileSystem.h"

namespace tasklane {
namespace {

std::string pathOf(const std::string& notifyFolder, std::size_t number) {
  return WakePipe::folderIn(notifyFolder) + "/" + std::to_string(number);
}

/// 0 for what is no FIFO of this user.
std::uint64_t identityOf(const struct stat& status) {
  if (!S_ISFIFO(status.st_mode) || status.st_uid != geteuid()) return 0;
  return status.st_ino ^ (static_cast<std::uint64_t>(status.st_dev) << 40);
}

/// Opened for both, so that neither reading nor writing ever meets an end without its other one:
/// no waiting for it, no end of file, no SIGPIPE.
FileDescriptor openPipe(const std::string& path, std::uint64_t& identity) {
  FileDescriptor file(open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return {};
  identity = identityOf(status);
  if (identity == 0) errno = EEXIST;
  return identity == 0 ? FileDescriptor() : std::move(file);
}

Result<void> makePipe(const std::string& notifyFolder, const std::string& path) {
  if (mkdir(WakePipe::folderIn(notifyFolder).c_str(), 0700) != 0 && errno != EEXIST) {
    return NSError::fromErrno(errno, "cannot make a folder in " + notifyFolder);
  }
  if (mkfifo(path.c_str(), 0600) == 0 || errno == EEXIST) return {};
  return NSError::fromErrno(errno, "cannot make " + path);
}

}  // namespace

Result<WakePipe> WakePipe::take(const std::string& notifyFolder) {
  for (std::size_t number = 0; number < kMost; ++number) {
    const std::string path = pathOf(notifyFolder, number);
    std::uint64_t identity = 0;
    FileDescriptor file = openPipe(path, identity);
    if (!file && errno == ENOENT) {
      if (auto made = makePipe(notifyFolder, path); !made) return made.error();
      file = openPipe(path, identity);
    }
    if (!file) {
      if (errno == EEXIST) continue;
      return NSError::fromErrno(errno, "cannot open " + path);
    }
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) continue;  // its holder lives
    WakePipe pipe(notifyFolder, std::move(file), number, identity);
    if (pipe.inPlace()) return pipe;
  }
  return NSError{NSError::Kind::Unsupported, "too many processes listen to notifications"};
}

void WakePipe::drain() const {
  char bytes[256];
  [[maybe_unused]] const ssize_t got = read(file_.get(), bytes, sizeof bytes);
}

void WakePipe::wake() const {
  // A pipe that is full is as readable as it can be.
  [[maybe_unused]] const ssize_t written = uninterrupted([&] { return write(file_.get(), "", 1); });
}

bool WakePipe::inPlace() const {
  struct stat status {};
  return lstat(pathOf(notifyFolder_, number_).c_str(), &status) == 0 &&
         identityOf(status) == identity_;
}

WakePipe::Woken WakePipe::wake(const std::string& notifyFolder, std::size_t number,
                               std::uint64_t identity) {
  struct Known {
    std::uint64_t identity = 0;
    FileDescriptor file;
  };
  static std::mutex mutex;
  // Kept open: opening takes longer than writing. Never destroyed, threads may post to the end.
  static auto& known = *std::make_unique<std::array<Known, kMost>>().release();
  const std::lock_guard lock(mutex);
  Known& pipe = known[number];
  if (pipe.identity != identity) {
    std::uint64_t found = 0;
    FileDescriptor file = openPipe(pathOf(notifyFolder, number), found);
    if (!file && errno != ENOENT && errno != EEXIST && errno != ENXIO) return Woken::Failed;
    if (found != identity) return Woken::NobodyThere;
    pipe = {identity, std::move(file)};
  }
  if (uninterrupted([&] { return write(pipe.file.get(), "", 1); }) == 1 || errno == EAGAIN)
    return Woken::Yes;
  return Woken::Failed;
}

}  // namespace tasklane

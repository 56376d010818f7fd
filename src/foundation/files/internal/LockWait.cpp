#include "foundation/files/internal/LockWait.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/events/Interruption.h"

namespace tasklane::lockwait {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kTellAfter{1000};
constexpr milliseconds kUsualLimit{10'000};
constexpr milliseconds kPaintEvery{15};
constexpr milliseconds kTryEvery{20};

std::function<void()>& hookOfThisThread() {
  thread_local std::function<void()> hook;
  return hook;
}

constexpr const char* kLimitVariable = "TASKLANE_LOCK_LIMIT";

/// None when the text is no such number of seconds.
std::optional<milliseconds> limitFromText(const char* text) {
  char* end = nullptr;
  const double seconds = std::strtod(text, &end);
  if (end == text || *end || !(seconds >= 0 && seconds < 1e6)) return std::nullopt;
  return milliseconds(static_cast<long>(seconds * 1000));
}

milliseconds limit() {
  const char* const text = std::getenv(kLimitVariable);
  return text ? limitFromText(text).value_or(kUsualLimit) : kUsualLimit;
}

/// When the first lock is taken, not when one is first waited for, months later.
bool tellOfUnusableLimit() {
  const char* const text = std::getenv(kLimitVariable);
  if (!text || !*text || limitFromText(text)) return false;
  NSLog(std::string(kLimitVariable) + " is \"" + text +
        "\", which is no number of seconds from 0 to 1000000; locks are waited for " +
        std::to_string(kUsualLimit.count() / 1000) + " seconds.");
  return true;
}

struct flock queueLock(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  return lock;
}

short queueType(Mode mode) { return mode == Mode::Shared ? F_RDLCK : F_WRLCK; }

/// Whether somebody waits whom this one must not overtake. A file system without such locks has no
/// order.
bool othersWait(int file, Mode mode) {
  struct flock found = queueLock(queueType(mode));
  return fcntl(file, F_OFD_GETLK, &found) == 0 && found.l_type != F_UNLCK;
}

int flockOperation(Mode mode) { return mode == Mode::Shared ? LOCK_SH : LOCK_EX; }

/// 0, EWOULDBLOCK when others have it, or what is wrong.
int tryToLock(int file, Mode mode) {
  if (uninterrupted([&] { return flock(file, flockOperation(mode) | LOCK_NB); }) == 0) return 0;
  return errno;
}

/// A wait under way, shared by the thread in the system's call and the one that it waits for.
class Wait {
 public:
  Wait(FileDescriptor file, Mode mode)
      : file_(std::move(file)), mode_(mode), ended_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  /// Readable once the wait has ended; none when the system grants none.
  int descriptor() const { return ended_.get(); }

  /// In the thread.
  void run() {
    struct flock queue = queueLock(queueType(mode_));
    uninterrupted([&] { return fcntl(file_.get(), F_OFD_SETLKW, &queue); });
    const int locked = uninterrupted([&] { return flock(file_.get(), flockOperation(mode_)); });
    const int problem = locked == 0 ? 0 : errno;
    queue.l_type = F_UNLCK;
    fcntl(file_.get(), F_OFD_SETLK, &queue);
    const std::lock_guard guard(mutex_);
    problem_ = problem;
    if (givenUp_) file_.close();
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written =
        uninterrupted([&] { return write(ended_.get(), &one, sizeof one); });
  }

  /// The problem that the wait ended with (0: none), or nothing while it goes on.
  std::optional<int> outcome() {
    const std::lock_guard guard(mutex_);
    return problem_;
  }

  /// From now on nobody wants the lock: who gets it lets it go. False when it was just had.
  bool giveUp() {
    const std::lock_guard guard(mutex_);
    givenUp_ = problem_ != 0;
    return givenUp_;
  }

  int file() const { return file_.get(); }
  Mode mode() const { return mode_; }
  FileDescriptor takeFile() { return std::move(file_); }

 private:
  FileDescriptor file_;
  const Mode mode_;
  const FileDescriptor ended_;
  std::mutex mutex_;
  std::optional<int> problem_;
  bool givenUp_ = false;
};

/// A process's name and whether it is stopped, of "/proc/…/stat": "4711 (name) T …".
std::string describeProcess(int process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  std::string description = "process " + std::to_string(process);
  if (open == std::string::npos || close == std::string::npos) return description;
  description += " (" + text.substr(open + 1, close - open - 1);
  const char state = text.size() > close + 2 ? text[close + 2] : ' ';
  if (state == 'T' || state == 't') description += ", stopped";
  return description + ")";
}

/// Who holds a lock on the file, of the lines of /proc/locks:
/// "1: FLOCK  ADVISORY  WRITE 4711 08:01:123456 0 EOF", the device in hexadecimal digits.
std::string describeHolder(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return "another process";
  std::optional<int> holder;
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    int process = 0;
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    unsigned long inode = 0;
    if (std::sscanf(line.c_str(), "%*d: FLOCK %*s %*s %d %x:%x:%lu", &process, &majorNumber,
                    &minorNumber, &inode) != 4)
      continue;
    if (inode != status.st_ino || process <= 0) continue;
    const bool sameDevice =
        majorNumber == major(status.st_dev) && minorNumber == minor(status.st_dev);
    // Some file systems show another device number here.
    if (sameDevice || !holder) holder = process;
    if (sameDevice) break;
  }
  return holder ? describeProcess(*holder) : "another process";
}

void sleepUntilSomethingHappens(const Wait& wait, milliseconds longest) {
  pollfd watched[] = {{wait.descriptor(), POLLIN, 0}, {Interruption::descriptor(), POLLIN, 0}};
  poll(watched, 2, static_cast<int>(std::max<milliseconds::rep>(longest.count(), 0)));
}

/// Waits on the calling thread until the wait has ended (nothing is answered), or why it is to end.
std::optional<NSError> attend(Wait& wait, bool inThread, const std::string& path) {
  const auto start = Clock::now();
  const milliseconds longest = limit();
  bool told = false;
  for (;;) {
    if (inThread ? wait.outcome().has_value() : tryToLock(wait.file(), wait.mode()) == 0)
      return std::nullopt;
    if (Interruption::happened())
      return NSError{NSError::Kind::Interrupted, "interrupted while waiting for " + path};
    const auto waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    if (waited >= longest)
      return NSError{NSError::Kind::Busy, path + " is held by " + describeHolder(wait.file())};
    if (!told && waited >= kTellAfter) {
      NSLog("Waiting for " + path + ", which is held by " + describeHolder(wait.file()));
      told = true;
    }
    milliseconds slice = longest - waited;
    if (!told) slice = std::min(slice, kTellAfter - waited);
    if (!inThread) slice = std::min(slice, kTryEvery);
    if (hookOfThisThread()) {
      if (waited >= kPaintEvery) hookOfThisThread()();
      slice = std::min(slice, kPaintEvery);
    }
    sleepUntilSomethingHappens(wait, slice);
  }
}

bool startThread(const std::shared_ptr<Wait>& wait) {
  if (wait->descriptor() < 0) return false;
  try {
    std::thread([wait] { wait->run(); }).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace

void setHook(std::function<void()> hook) { hookOfThisThread() = std::move(hook); }

Result<FileDescriptor> lock(FileDescriptor file, Mode mode, const std::string& path) {
  [[maybe_unused]] static const bool told = tellOfUnusableLimit();
  if (!othersWait(file.get(), mode)) {
    const int problem = tryToLock(file.get(), mode);
    if (problem == 0) return file;
    if (problem != EWOULDBLOCK) return NSError::fromErrno(problem, "cannot lock " + path);
  }
  const auto wait = std::make_shared<Wait>(std::move(file), mode);
  const bool inThread = startThread(wait);
  const auto reason = attend(*wait, inThread, path);
  if (reason && (!inThread || wait->giveUp())) return *reason;
  const int problem = inThread ? wait->outcome().value() : 0;
  if (problem != 0) return NSError::fromErrno(problem, "cannot lock " + path);
  return wait->takeFile();
}

}  // namespace tasklane::lockwait

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"
#include "foundation/events/internal/GuardedMapping.h"
#include "foundation/events/internal/WakePipe.h"

namespace tasklane {

/// How often one name was posted: a counter in a small file that all processes of the user map, and
/// a table of who sleeps until it moves, one row for each wake pipe.
///
/// A listener raises `armed` in its row, then that of the whole file, before it looks at the count
/// for the last time and sleeps. A poster that finds `armed` differ from `served` writes to the
/// pipe of each such row and then sets `served` to what it had found. While nobody sleeps a post
/// enters no system call. No lock is held for it: a poster that is killed in between leaves the two
/// different, so that the next one wakes whoever it forgot, and a listener that is killed costs one
/// vain write.
///
/// A counter that is no longer at its path is retired: the highest bit of the count is set, and
/// later posts are turned away to its successor. So each post is counted in one file only. Whoever
/// has the file open holds a shared lock of it; what nobody holds is removed when there is much of
/// it. Any thread.
class NotifyCounter {
 public:
  /// Opens or makes the file of a name. A file that is damaged, somebody else's or no plain file is
  /// replaced, with a console line. The identity is that of the counter which the caller has used
  /// for the name so far (0 for none): a file made where there is none is its successor.
  static Result<std::shared_ptr<NotifyCounter>> open(const std::string& folder,
                                                     const std::string& name,
                                                     std::uint64_t before = 0);
  NotifyCounter(const NotifyCounter&) = delete;
  NotifyCounter& operator=(const NotifyCounter&) = delete;

  /// False when the counter is retired or damaged and the post has to go to its successor.
  [[nodiscard]] bool post();
  std::uint64_t count() const;

  /// Says that the pipe's holder is about to sleep; afterwards it looks at count() once more.
  void arm(const WakePipe& pipe);

  /// Turns later posts away and wakes who sleeps, to look for the successor.
  void retire();
  bool retired() const;
  /// Whether the contents can be trusted.
  bool whole() const;
  /// Whether posts may go here.
  bool usable() const { return whole() && !retired(); }
  /// Whether the path still leads to this file.
  bool inPlace() const;
  const std::string& path() const { return path_; }
  const std::string& folder() const { return folder_; }

  /// Tells the files of a name apart. One whose predecessor is another than a listener's old
  /// counter shows that there was one in between, of which it knows nothing.
  std::uint64_t identity() const { return identity_; }
  std::uint64_t predecessor() const;

 private:
  struct Layout;
  struct Place;
  NotifyCounter(const Place& place, FileDescriptor file, GuardedMapping mapping,
                std::uint64_t identity);
  static std::shared_ptr<NotifyCounter> map(const Place& place, FileDescriptor file);
  static Result<void> createAt(const Place& place, const std::string& name, std::uint64_t before);
  static Result<void> replaceAt(const Place& place, const std::string& name, std::uint64_t before);
  static void removeUnused(const std::string& folder);
  static void remove(const Place& place);
  Layout& layout() const;
  std::string storedName() const;
  void wakeSleepers();

  std::string folder_;
  std::string path_;
  FileDescriptor file_;
  GuardedMapping mapping_;
  std::uint64_t identity_;
};

}  // namespace tasklane

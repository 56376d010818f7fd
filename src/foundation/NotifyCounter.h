#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/FileDescriptor.h"
#include "foundation/GuardedMapping.h"
#include "foundation/NSError.h"
#include "foundation/SharedFutex.h"

namespace tasklane {

/// How often one name was posted: a counter in a small file that all processes of the user map.
///
/// Listeners wait in one of two ways: a sleeper sleeps on a word of the file itself, a watcher is
/// told of every access to the file by inotify. A process waits in one way at a time, and one file
/// may have both kinds.
///
/// No lock is ever held, so a process that is killed holds up nobody. Posters and the listeners of
/// a kind agree through two numbers: a listener raises `armed` before it looks at the counter for
/// the last time and waits; a poster that finds `armed` ahead of `served` wakes every listener of
/// that kind and then sets `served`. While nobody waits a post enters no system call. A poster that
/// is killed in between leaves `armed` ahead, so that the next one wakes whoever it forgot.
///
/// A counter that is no longer at its path is retired: the highest bit of the count is set, and
/// later posts are turned away to its successor. So each post is counted in one file only. Any
/// thread.
class NotifyCounter {
 public:
  /// Opens or makes the file of a name. A file that is damaged, somebody else's or no plain file is
  /// replaced, with a console line.
  static Result<std::shared_ptr<NotifyCounter>> open(const std::string& folder,
                                                     const std::string& name);
  NotifyCounter(const NotifyCounter&) = delete;
  NotifyCounter& operator=(const NotifyCounter&) = delete;

  /// False when the counter is retired or damaged and the post has to go to its successor.
  [[nodiscard]] bool post();
  std::uint64_t count() const;

  /// Says that the caller, a watcher, is about to wait; afterwards it looks at count() once more.
  void armWatcher();
  /// The same of a sleeper: what it sleeps on. The memory is the counter's.
  SharedFutex::Awaited armSleeper();

  /// Wakes every watcher, or the sleepers that one of the bits is meant for, whatever they wait
  /// for.
  void wakeWatchers();
  void wakeSleepers(std::uint32_t bits = SharedFutex::kEverybody);
  /// The bit that every sleeper hears; the others are free for a process's own use.
  static constexpr std::uint32_t kPostBit = 1;

  /// Makes the file as long again as it was, with zeros, where somebody has cut it short: otherwise
  /// there is nothing left by which its sleepers could be woken.
  void restoreLength();

  /// Turns later posts away and wakes everybody, to look for the successor.
  void retire();
  bool retired() const;
  /// Says that the contents are nonsense, so that nobody uses them any more.
  void spoil();
  /// Whether the contents can be trusted.
  bool whole() const;
  /// Whether posts may go here.
  bool usable() const;
  /// Whether the path still leads to this file.
  bool inPlace() const;
  const std::string& path() const { return path_; }

 private:
  struct Layout;
  NotifyCounter(std::string path, FileDescriptor file, GuardedMapping mapping)
      : path_(std::move(path)), file_(std::move(file)), mapping_(std::move(mapping)) {}
  static std::shared_ptr<NotifyCounter> map(const std::string& path, FileDescriptor file);
  static Result<void> createAt(const std::string& path, const std::string& name);
  static Result<void> replaceAt(const std::string& path, const std::string& name);
  Layout& layout() const;
  std::string storedName() const;

  std::string path_;
  FileDescriptor file_;
  GuardedMapping mapping_;
};

}  // namespace tasklane

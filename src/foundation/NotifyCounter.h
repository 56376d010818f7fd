#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/FileDescriptor.h"
#include "foundation/GuardedMapping.h"
#include "foundation/NSError.h"

namespace tasklane {

/// How often one name was posted: a counter in a small file that all processes of the user map.
///
/// No lock is ever held, so a process that is killed holds up nobody. Posters and listeners agree
/// through two numbers: a listener raises `armed` before it looks at the counter for the last time
/// and sleeps; a poster that finds `armed` ahead of `served` touches the file, which wakes every
/// listener, and then sets `served`. While nobody sleeps a post enters no system call.
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

  /// Says that the caller is about to sleep; afterwards it looks at count() once more.
  void arm();
  /// Wakes whoever watches the file.
  void touch();

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

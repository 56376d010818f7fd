#pragma once

#include <functional>
#include <optional>
#include <string>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// A text file of a person's that other programs write at any moment without asking anybody: some
/// append to it, some replace it. A change made here loses nothing of theirs: it starts from what
/// lies there, and is made again when that has become something else meanwhile.
///
/// A symbolic link at the path is followed, not replaced. The file keeps its mode, and its owner
/// where the process may set it; a new one belongs to its owner alone (0600). One thread.
class ContendedFile {
 public:
  /// What is made of there being no file. Some programs replace a file in two steps, between which
  /// it has no name, so that one looks a few times before believing it.
  enum class WhenMissing {
    Begin,  ///< change() makes it, with the folders above it
    Wait    ///< all but stamp() answer an error of kind FileNotFound
  };

  explicit ContendedFile(std::string path, WhenMissing whenMissing = WhenMissing::Begin)
      : path_(std::move(path)), whenMissing_(whenMissing) {}

  const std::string& path() const { return path_; }
  bool begins() const { return whenMissing_ == WhenMissing::Begin; }

  /// Its contents; none when there is no file. Anything but a regular file is an error.
  Result<std::optional<std::string>> read() const;

  /// Changes with every replacement and every write; none when there is no file.
  Result<std::optional<std::string>> stamp() const;

  /// The contents that shall be, from those that are (empty when there is no file); none to leave
  /// it. May be called several times, each time with what lies there now.
  using Edit = std::function<std::optional<std::string>(const std::string& contents)>;

  /// Replaces the contents whole and flushes them: other programs see the old or the new ones, also
  /// after a power cut. What lies there when it succeeds is on the disk, whoever wrote it. An error
  /// leaves the old ones, or, when only the last flush failed, the new ones.
  ///
  /// What a program adds that had opened the old contents before they were replaced is added to the
  /// new ones. A program that had read the old ones and puts its own version in the place of the
  /// new ones cannot be noticed here: see Deliverer.
  Result<void> change(const Edit& edit);

  /// Removes the file, if its contents still are the given ones; whether it is gone.
  Result<bool> removeIfStill(const std::string& contents);

 private:
  struct Version;
  struct Late;
  struct Replacement;
  Result<Version> open() const;
  Result<Replacement> replace(const Version& old, const std::string& contents) const;
  Result<void> flush(const Version& version) const;
  void removeAbandoned(const std::string& target);

  std::string path_;
  WhenMissing whenMissing_;
  bool isSwept_ = false;
};

}  // namespace tasklane

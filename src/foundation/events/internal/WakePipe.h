#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// What wakes a sleeping process: a FIFO of its own in a folder that all processes of the user
/// know, named by a small number. It stays for the next process when its holder ends, however it
/// ends.
class WakePipe {
 public:
  static constexpr std::size_t kMost = 120;  // that are held at a time
  /// Where the pipes of a notify folder lie: apart, so that writing to one is no event of the
  /// folder.
  static std::string folderIn(const std::string& notifyFolder) { return notifyFolder + "/pipes"; }

  /// Takes the first number that no living process holds.
  static Result<WakePipe> take(const std::string& notifyFolder);

  /// Readable from a wake-up on until drain().
  int fileDescriptor() const { return file_.get(); }
  std::size_t number() const { return number_; }
  const std::string& notifyFolder() const { return notifyFolder_; }
  /// Tells this pipe from another one that had or will have its number; never 0.
  std::uint64_t identity() const { return identity_; }
  void drain() const;
  /// Wakes the holder itself.
  void wake() const;
  /// Whether its number still leads to it.
  bool inPlace() const;

  enum class Woken { Yes, NobodyThere, Failed };
  /// Wakes the holder of a number, if it still is the one meant. Failed: it sleeps on, for want of
  /// a descriptor for instance. Any thread.
  static Woken wake(const std::string& notifyFolder, std::size_t number, std::uint64_t identity);

 private:
  WakePipe(std::string notifyFolder, FileDescriptor file, std::size_t number,
           std::uint64_t identity)
      : notifyFolder_(std::move(notifyFolder)),
        file_(std::move(file)),
        number_(number),
        identity_(identity) {}

  std::string notifyFolder_;
  FileDescriptor file_;
  std::size_t number_;
  std::uint64_t identity_;
};

}  // namespace tasklane

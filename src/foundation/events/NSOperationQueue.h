#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace tasklane {

/// Work that runs on the main thread, in the order of its adding, one at a time, from the run loop.
/// A block that runs the loop itself lets the blocks behind it run inside that loop.
class NSOperationQueue {
 public:
  static NSOperationQueue& mainQueue();

  /// Any thread. Returns at once; the block runs later, also when called on the main thread.
  void addOperationWithBlock(std::function<void()> block);

  /// Whether blocks wait to be run. Any thread.
  bool empty() const;

  /// Runs what was waiting at the time of the call. Main thread; the run loop calls it.
  void runPending();

  /// Readable as long as blocks wait to be run.
  int fileDescriptor() const { return wakeUp_; }

 private:
  NSOperationQueue();

  mutable std::mutex mutex_;
  std::deque<std::function<void()>> blocks_;
  std::uint64_t added_ = 0;
  int wakeUp_;
};

}  // namespace tasklane

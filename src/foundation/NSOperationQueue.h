#pragma once

#include <functional>

namespace tasklane {

/// Work that runs on the main thread, in the order of its adding, one at a time, from the run loop.
class NSOperationQueue {
 public:
  static NSOperationQueue& mainQueue();

  /// Any thread. Returns at once; the block runs later, also when called on the main thread.
  void addOperationWithBlock(std::function<void()> block);

  /// Whether blocks wait to be run. Any thread.
  bool empty() const;

  /// Runs what was waiting at the time of the call. Main thread; the run loop calls it.
  void runPending();

 private:
  NSOperationQueue() = default;
};

}  // namespace tasklane

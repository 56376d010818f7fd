#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tasklane {

/// The main thread's loop over the main operation queue, the notify center, timers and the
/// program's own descriptors. Main thread only; a block that another thread adds to the queue ends
/// a wait, and the loop looks at its condition.
///
/// Whatever can end a wait is a descriptor in one epoll set: the queue's, the timers', the pipe
/// that posts are told by, the program's own. Each of them stays readable for as long as there is
/// something to do for it, so none is missed whenever it comes, and loops may run inside one
/// another. The set is a descriptor itself: a toolkit's loop that watches it and calls dispatch()
/// when it is readable waits for the same. (A futex wakes a microsecond sooner; but it cannot
/// stand in the set, and two ways of waiting forgot each other's wake-ups.)
class NSRunLoop {
 public:
  class Source;

  /// Throws std::system_error where the process has no descriptors left to make it with.
  static NSRunLoop& mainRunLoop();

  /// Calls back whenever the descriptor is readable, until the returned source is destroyed.
  [[nodiscard]] std::shared_ptr<Source> addDescriptor(int fileDescriptor,
                                                      std::function<void()> onReadable);

  /// Calls back once, after the delay, unless the returned source is destroyed before.
  [[nodiscard]] std::shared_ptr<Source> addTimer(std::chrono::milliseconds delay,
                                                 std::function<void()> onFire);

  /// Readable when there is something to dispatch. Not to be read from or closed.
  int fileDescriptor();

  /// Delivers all that is ready, without waiting.
  void dispatch();

  /// Waits and dispatches until stop() or, for runUntil, until the condition holds or the limit
  /// passes; the answer is whether the condition holds. A backend may replace the waiting (see
  /// setWaiter). stop() ends the innermost run that is under way, and means nothing to later ones.
  void run();
  void stop();
  bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);

  /// Under a toolkit with a loop of its own: how to wait for at most the given time until there is
  /// something to dispatch, handling the toolkit's events meanwhile. An empty function restores the
  /// loop's own way.
  void setWaiter(std::function<void(std::chrono::milliseconds)> waiter);

 private:
  NSRunLoop();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tasklane

#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tasklane {

/// The main thread's loop over the notify center, the main operation queue, timers and the
/// program's own descriptors. Main thread only, but for wakeUp().
///
/// A program that only calls run() and runUntil() waits on whatever wakes it soonest: as soon as it
/// listens to other processes it sleeps on their posts, and a thread of the loop's own waits for
/// descriptors. From the first call of fileDescriptor() on everything hangs on that one descriptor
/// (an epoll set), for a toolkit's loop that watches it and calls dispatch() when it is readable.
class NSRunLoop {
 public:
  class Source;

  static NSRunLoop& mainRunLoop();

  /// Calls back whenever the descriptor is readable, until the returned source is destroyed.
  [[nodiscard]] std::shared_ptr<Source> addDescriptor(int fileDescriptor,
                                                      std::function<void()> onReadable);

  /// Calls back once, after the delay, unless the returned source is destroyed before.
  [[nodiscard]] std::shared_ptr<Source> addTimer(std::chrono::milliseconds delay,
                                                 std::function<void()> onFire);

  /// Readable when there is something to dispatch.
  int fileDescriptor();

  /// Delivers all that is ready, without waiting.
  void dispatch();

  /// Waits and dispatches until stop() or, for runUntil, until the condition holds or the limit
  /// passes; the answer is whether the condition holds. A backend may replace the waiting (see
  /// setWaiter). stop() ends the innermost run that is under way, and means nothing to later ones.
  void run();
  void stop();
  bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);

  /// Makes the loop, if it waits or is about to, look around for work. Any thread.
  static void wakeUp();

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

#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tasklane {

/// The main thread's loop over the notify center, the main operation queue, timers and the
/// program's own descriptors.
///
/// Everything hangs on one descriptor (an epoll set): without a screen run() waits on it, under Qt
/// the backend watches fileDescriptor() and calls dispatch() when it is readable. Main thread only.
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
  int fileDescriptor() const;

  /// Delivers all that is ready, without waiting.
  void dispatch();

  /// Waits and dispatches until stop() or, for runUntil, until the condition holds or the limit
  /// passes; the answer is whether the condition holds. A backend may replace the waiting (see
  /// setWaiter). stop() ends the innermost run that is under way, and means nothing to later ones.
  void run();
  void stop();
  bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);

  /// Under a toolkit with a loop of its own: how to wait for at most the given time until there is
  /// something to dispatch, handling the toolkit's events meanwhile. An empty function restores
  /// poll(2).
  void setWaiter(std::function<void(std::chrono::milliseconds)> waiter);

 private:
  NSRunLoop();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tasklane

#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "foundation/events/NSRunLoop.h"

namespace tasklane {

class UIWindow;

/// A progress from 0 to 1 over a duration, eased at both ends, in steps of one frame on the main
/// run loop. Main thread.
class Tween : public std::enable_shared_from_this<Tween> {
 public:
  using Step = std::function<void(double progress)>;

  /// Calls the step with growing progress until it has been called with exactly 1; never from
  /// within start. Destroying the tween, from a step too, ends it where it is.
  [[nodiscard]] static std::shared_ptr<Tween> start(double seconds, Step step);

  /// Whether anybody would see it: the window is on a screen and the desktop wants animations.
  static bool isWorthwhileIn(const UIWindow* window);

 private:
  Tween(double seconds, Step step);
  void scheduleFrame();
  void advance();

  std::chrono::steady_clock::time_point begin_;
  double seconds_;
  Step step_;
  std::shared_ptr<NSRunLoop::Source> timer_;
};

}  // namespace tasklane

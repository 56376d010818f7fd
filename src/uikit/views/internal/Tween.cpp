#include "uikit/views/internal/Tween.h"

#include <algorithm>
#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {
constexpr std::chrono::milliseconds kFrame{16};
}

std::shared_ptr<Tween> Tween::start(double seconds, Step step) {
  struct Tweening : Tween {
    Tweening(double s, Step f) : Tween(s, std::move(f)) {}
  };
  auto tween = std::make_shared<Tweening>(seconds, std::move(step));
  tween->scheduleFrame();
  return tween;
}

bool Tween::isWorthwhileIn(const UIWindow* window) {
  return window && window->isVisible() && backend::animationsEnabled();
}

Tween::Tween(double seconds, Step step)
    : begin_(std::chrono::steady_clock::now()), seconds_(seconds), step_(std::move(step)) {}

void Tween::scheduleFrame() {
  timer_ = NSRunLoop::mainRunLoop().addTimer(kFrame, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->advance();
  });
}

void Tween::advance() {
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin_;
  const double t = seconds_ > 0 ? std::min(1.0, passed.count() / seconds_) : 1;
  // The next frame is asked for first, so that a step may end the tween.
  if (t < 1) {
    scheduleFrame();
  } else {
    timer_.reset();
  }
  step_(t < 1 ? t * t * (3 - 2 * t) : 1);
}

}  // namespace tasklane

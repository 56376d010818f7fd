#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

#include "uikit/base/Backend.h"
#include "uikit/views/UIView.h"
#include "uikit/views/UIWindow.h"
#include "uikit/views/internal/Tween.h"

namespace tasklane {

/// One animateWithDuration: while its block runs, the views that are about to change; then the way
/// of each from what was on the screen to the view's own values, wherever they are by then. A view
/// belongs to its latest animation. It keeps itself alive until the completion has run.
class UIViewAnimation : public std::enable_shared_from_this<UIViewAnimation> {
 public:
  explicit UIViewAnimation(std::function<void()> completion) : completion_(std::move(completion)) {}

  /// The one whose block is running, or null.
  static UIViewAnimation* current() { return currentPlace(); }

  void runBlock(const std::function<void()>& block) {
    const struct Recording {
      explicit Recording(UIViewAnimation* inner) : outer(std::exchange(currentPlace(), inner)) {}
      ~Recording() { currentPlace() = outer; }
      UIViewAnimation* outer;
    } recording(this);
    block();
  }

  void record(UIView& view) {
    if (recorded_.insert(&view).second) ways_.push_back({sharedFrom(&view), view.presentation()});
  }

  void start(double seconds) {
    recorded_.clear();
    std::erase_if(ways_, [this](const Way& way) { return !begin(way); });
    if (ways_.empty() || seconds <= 0) {
      step(1);
      return;
    }
    keepsItself_ = shared_from_this();
    tween_ = Tween::start(seconds, [this](double progress) { step(progress); });
  }

 private:
  static UIViewAnimation*& currentPlace() {
    static UIViewAnimation* animation = nullptr;
    return animation;
  }

  struct Way {
    std::weak_ptr<UIView> view;
    UIView::Presentation from;
  };

  bool begin(const Way& way) {
    const auto view = way.view.lock();
    if (!view || !view->window_) return false;
    const bool moves = way.from.frame != view->frame_ || way.from.alpha != view->alpha_ ||
                       way.from.boundsOrigin != view->boundsOrigin_;
    if (!moves) return false;
    auto presentation = std::make_unique<UIView::Presentation>(way.from);
    presentation->animation = this;
    view->presentation_ = std::move(presentation);
    return true;
  }

  /// False when the view has gone, left the screen or taken part in a later animation.
  bool stepView(const Way& way, double progress) {
    const auto view = way.view.lock();
    if (!view || !view->presentation_ || view->presentation_->animation != this) return false;
    if (progress == 1) {
      view->presentation_.reset();
    } else {
      const auto between = [progress](CGFloat from, CGFloat to) {
        return from + (to - from) * progress;
      };
      const CGRect from = way.from.frame, to = view->frame_;
      view->presentation_->frame = {
          between(from.origin.x, to.origin.x), between(from.origin.y, to.origin.y),
          between(from.size.width, to.size.width), between(from.size.height, to.size.height)};
      view->presentation_->boundsOrigin = {between(way.from.boundsOrigin.x, view->boundsOrigin_.x),
                                           between(way.from.boundsOrigin.y, view->boundsOrigin_.y)};
      view->presentation_->alpha = between(way.from.alpha, view->alpha_);
    }
    view->peerNeedsUpdate();
    return true;
  }

  void step(double progress) {
    std::erase_if(ways_, [&](const Way& way) { return !stepView(way, progress); });
    if (progress < 1 && !ways_.empty()) return;
    const auto keepsAlive = std::exchange(keepsItself_, nullptr);
    const auto tween = std::exchange(tween_, nullptr);
    if (const auto completion = std::exchange(completion_, nullptr)) completion();
  }

  std::vector<Way> ways_;
  std::unordered_set<const UIView*> recorded_;  ///< while the block runs
  std::function<void()> completion_;
  std::shared_ptr<Tween> tween_;
  std::shared_ptr<UIViewAnimation> keepsItself_;
};

void UIView::animateWithDuration(double seconds, const std::function<void()>& animations,
                                 std::function<void()> completion) {
  const auto animation = std::make_shared<UIViewAnimation>(std::move(completion));
  animation->runBlock(animations);
  animation->start(seconds);
}

void UIView::recordForAnimation() {
  UIViewAnimation* const animation = UIViewAnimation::current();
  if (animation && Tween::isWorthwhileIn(window_)) animation->record(*this);
}

UIView::Presentation UIView::presentation() const {
  return presentation_ ? *presentation_ : Presentation{frame_, boundsOrigin_, alpha_};
}

CGRect UIView::presentationFrame() const { return presentation().frame; }

CGPoint UIView::presentationBoundsOrigin() const { return presentation().boundsOrigin; }

CGFloat UIView::presentationAlpha() const { return presentation().alpha; }

}  // namespace tasklane

#include "uikit/navigation/UINavigationController.h"

#include <algorithm>
#include <utility>

#include "uikit/base/Backend.h"

namespace tasklane {
namespace {

constexpr double kSlideSeconds = 0.25;

}  // namespace

// A screen knows that there are such controllers, but not what they are.
std::shared_ptr<UINavigationController> UIViewController::navigationController() const {
  for (auto parent = parent_.lock(); parent; parent = parent->parent_.lock()) {
    if (auto navigation = std::dynamic_pointer_cast<UINavigationController>(parent)) {
      return navigation;
    }
  }
  return nullptr;
}

/// The bar over the screen that is shown.
class UINavigationController::StackView : public UIView {
 public:
  explicit StackView(UINavigationController& controller) : controller_(controller) {}
  void layoutSubviews() override {
    UIView::layoutSubviews();
    const auto owner = viewController();
    if (owner.get() == &controller_) controller_.layoutStack();
  }

 private:
  UINavigationController& controller_;
};

/// One screen taking another's place, until "did" has been said.
struct UINavigationController::Transition {
  std::shared_ptr<UIViewController> from, to;
};

UINavigationController::~UINavigationController() {
  if (bar_) bar_->setBackHandler({});
}

std::shared_ptr<UINavigationController> UINavigationController::make(
    const std::shared_ptr<UIViewController>& root) {
  auto controller = std::make_shared<UINavigationController>();
  controller->pushViewController(root, false);
  return controller;
}

std::shared_ptr<UIViewController> UINavigationController::topViewController() const {
  return stack_.empty() ? nullptr : stack_.back();
}

const std::shared_ptr<UINavigationBar>& UINavigationController::navigationBar() {
  if (!bar_) {
    bar_ = std::make_shared<UINavigationBar>();
    bar_->setBackHandler([this] { popViewControllerAnimated(true); });
  }
  return bar_;
}

void UINavigationController::pushViewController(const std::shared_ptr<UIViewController>& controller,
                                                bool animated) {
  const bool stacked = std::find(stack_.begin(), stack_.end(), controller) != stack_.end();
  if (!controller || stacked) return;  // a second tap before the first one's screen has arrived
  if (!settingUp_) finishTransition();
  addChildViewController(controller);
  stack_.push_back(controller);
  stackDidChange(animated);
}

std::shared_ptr<UIViewController> UINavigationController::popViewControllerAnimated(bool animated) {
  if (stack_.size() < 2) return nullptr;
  auto popped = stack_.back();
  if (!settingUp_) finishTransition();
  stack_.pop_back();
  stackDidChange(animated);
  return popped;
}

void UINavigationController::popToRootViewControllerAnimated(bool animated) {
  if (stack_.size() < 2) return;
  if (!settingUp_) finishTransition();
  stack_.resize(1);
  stackDidChange(animated);
}

void UINavigationController::stackDidChange(bool animated) {
  const auto self = sharedFrom(this);
  nextIsAnimated_ = animated;
  if (!isViewLoaded() || settingUp_) return;
  settingUp_ = true;
  // A screen may push or pop while it hears that it will appear: go on until the top is shown.
  while (shown_ != topViewController()) {
    finishTransition();
    beginTransition(topViewController(), nextIsAnimated_);
  }
  settingUp_ = false;
}

CGRect UINavigationController::contentFrame() const {
  const CGSize whole = const_cast<UINavigationController*>(this)->view()->bounds().size;
  const CGFloat top = UINavigationBar::standardHeight();
  return {0, top, whole.width, std::max<CGFloat>(whole.height - top, 0)};
}

void UINavigationController::beginTransition(const std::shared_ptr<UIViewController>& to,
                                             bool animated) {
  const auto from = std::exchange(shown_, to);
  const bool pops = from && std::find(stack_.begin(), stack_.end(), from) == stack_.end();
  const auto transition = std::make_shared<Transition>(Transition{from, to});
  transition_ = transition;
  const bool onScreen = appearance_ == Appearance::Appearing || appearance_ == Appearance::Appeared;
  if (topWillChangeHandler_) topWillChangeHandler_(*to);

  const CGRect place = contentFrame();
  to->view()->setAutoresizingMask(UIViewAutoresizingNone);
  to->view()->setFrame(place);
  if (from && onScreen) backend::screenDidChange();
  if (from && !pops) from->rememberFocus();
  // First into the tree, so that a screen can take the keyboard when it is about to appear.
  view()->insertSubviewAtIndex(to->view(), !pops && from ? 1 : 0);
  if (from && onScreen) from->beginAppearanceTransition(false, animated);
  if (onScreen) to->beginAppearanceTransition(true, animated);
  std::vector<std::shared_ptr<UINavigationItem>> items;
  for (const auto& controller : stack_) items.push_back(controller->navigationItem());
  navigationBar()->setItems(items, animated);

  // What is typed from now on is for the new screen, also while it slides in.
  if (onScreen && from) to->takeFocusFrom(*from);

  const std::weak_ptr<UINavigationController> weakSelf = sharedFrom(this);
  const auto arrived = [weakSelf, transition] {
    const auto self = weakSelf.lock();
    if (self && self->transition_ == transition) self->finishTransition();
  };
  if (!animated || !from || !view()->window()) return arrived();

  const bool leftToRight = view()->effectiveUserInterfaceLayoutDirection() ==
                           UIUserInterfaceLayoutDirection::LeftToRight;
  const CGFloat ahead = (leftToRight ? 1 : -1) * place.size.width;
  const auto moved = [place](CGFloat by) {
    return CGRect{{place.origin.x + by, place.origin.y}, place.size};
  };
  // Screens may be see-through, so that they go side by side, not one over the other.
  const CGFloat behind = -ahead;
  to->view()->setFrame(moved(pops ? behind : ahead));
  to->view()->layoutIfNeeded();
  UIView::animateWithDuration(
      kSlideSeconds,
      [&] {
        from->view()->setFrame(moved(pops ? ahead : behind));
        to->view()->setFrame(place);
      },
      arrived);
}

void UINavigationController::finishTransition() {
  const auto transition = std::exchange(transition_, nullptr);
  if (!transition) return;
  const auto& [from, to] = *transition;
  to->view()->setFrame(contentFrame());
  const bool stays = from && std::find(stack_.begin(), stack_.end(), from) != stack_.end();
  if (from) {
    if (from->view()->superview() == view()) from->view()->removeFromSuperview();
    from->endAppearanceTransition();
    if (!stays && from->parentViewController().get() == this) {
      from->removeFromParentViewController();
    }
  }
  for (const auto children = childViewControllers(); const auto& child : children) {
    const bool stacked = std::find(stack_.begin(), stack_.end(), child) != stack_.end();
    if (!stacked && child != to) child->removeFromParentViewController();
  }
  if (appearance_ == Appearance::Appeared) to->endAppearanceTransition();
  if (shown_ == to && transition_ == nullptr) to->restoreFocus();
}

void UINavigationController::layoutStack() {
  const CGSize whole = view()->bounds().size;
  navigationBar()->setFrame({0, 0, whole.width, UINavigationBar::standardHeight()});
  if (shown_) shown_->view()->setFrame(contentFrame());
}

void UINavigationController::loadView() { setView(std::make_shared<StackView>(*this)); }

void UINavigationController::viewDidLoad() {
  UIViewController::viewDidLoad();
  view()->addSubview(navigationBar());
  stackDidChange(false);
}

bool UINavigationController::goBack() {
  const auto top = topViewController();
  if (top && top->presentedViewController()) {
    top->dismissViewControllerAnimated(true);
    return true;
  }
  return popViewControllerAnimated(true) != nullptr;
}

std::shared_ptr<UIView> UINavigationController::preferredFocusView() {
  const auto top = topViewController();
  return top ? top->preferredFocusView() : nullptr;
}

bool UINavigationController::accessibilityPerformEscape() {
  return goBack() || UIViewController::accessibilityPerformEscape();
}

}  // namespace tasklane

#include "uikit/views/UIViewController.h"

#include <algorithm>
#include <utility>

#include "uikit/base/ProgrammingError.h"
#include "uikit/views/UIPresentationController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

// Inside a function, so that it is there for an exchange that runs before main().
UIViewController::ViewWillAppearBody& viewWillAppearBody() {
  static UIViewController::ViewWillAppearBody body = [](UIViewController&, bool) {};
  return body;
}

}  // namespace

UIViewController::UIViewController() = default;

UIViewController::~UIViewController() {
  for (const auto& child : children_) child->parent_.reset();
}

// The view.

const std::shared_ptr<UIView>& UIViewController::view() {
  if (view_ || loadingView_) return view_;
  loadingView_ = true;
  loadView();
  loadingView_ = false;
  if (!view_) detail::programmingError(className() + "'s loadView must call setView");
  viewDidLoad();
  return view_;
}

void UIViewController::setView(const std::shared_ptr<UIView>& view) {
  if (view == view_) return;
  const auto old = std::exchange(view_, view);
  const auto superview = old ? old->superview() : nullptr;
  if (old) old->viewController_.reset();
  if (view) view->viewController_ = sharedFrom(this);
  if (!superview) return;
  const auto& siblings = superview->subviews();
  const auto place = std::find(siblings.begin(), siblings.end(), old) - siblings.begin();
  if (view) {
    view->setAutoresizingMask(old->autoresizingMask());
    view->setFrame(old->frame());
    superview->insertSubviewAtIndex(view, static_cast<std::size_t>(place));
  }
  old->removeFromSuperview();
}

void UIViewController::loadView() { setView(std::make_shared<UIView>()); }

// Appearing.

void UIViewController::viewWillAppear(bool animated) {
  const auto body = viewWillAppearBody();
  if (body) body(*this, animated);
}

UIViewController::ViewWillAppearBody UIViewController::exchangeViewWillAppear(
    ViewWillAppearBody body) {
  return std::exchange(viewWillAppearBody(), std::move(body));
}

std::vector<std::shared_ptr<UIViewController>> UIViewController::childrenOnScreen() const {
  std::vector<std::shared_ptr<UIViewController>> found;
  for (const auto& child : children_) {
    if (child->isViewLoaded() && child->view_->isDescendantOfView(view_.get())) {
      found.push_back(child);
    }
  }
  return found;
}

void UIViewController::beginAppearanceTransition(bool isAppearing, bool animated) {
  const auto self = sharedFrom(this);
  const bool shown = appearance_ == Appearance::Appeared || appearance_ == Appearance::Appearing;
  if (shown == isAppearing) return;
  if (isAppearing) view();
  transitionAnimated_ = animated;
  appearance_ = isAppearing ? Appearance::Appearing : Appearance::Disappearing;
  if (isAppearing) {
    viewWillAppear(animated);
  } else {
    viewWillDisappear(animated);
  }
  for (const auto& child : childrenOnScreen()) {
    child->beginAppearanceTransition(isAppearing, animated);
  }
}

void UIViewController::endAppearanceTransition() {
  const auto self = sharedFrom(this);
  if (appearance_ == Appearance::Appearing) {
    appearance_ = Appearance::Appeared;
    viewDidAppear(transitionAnimated_);
  } else if (appearance_ == Appearance::Disappearing) {
    appearance_ = Appearance::Disappeared;
    viewDidDisappear(transitionAnimated_);
  } else {
    return;
  }
  for (const auto& child : childrenOnScreen()) child->endAppearanceTransition();
}

void UIViewController::rememberFocus() {
  const auto window = view_ ? view_->window() : nullptr;
  const auto focus = std::dynamic_pointer_cast<UIView>(window ? window->firstResponder() : nullptr);
  if (focus && focus->isDescendantOfView(view_.get())) {
    rememberedFocus_ = focus;
  } else {
    rememberedFocus_.reset();
  }
}

void UIViewController::restoreFocus() {
  const auto window = view_ ? view_->window() : nullptr;
  if (!window) return;
  const auto current = std::dynamic_pointer_cast<UIView>(window->firstResponder());
  if (current && current->isDescendantOfView(view_.get())) return;
  const auto remembered = std::dynamic_pointer_cast<UIView>(rememberedFocus_.lock());
  rememberedFocus_.reset();
  if (remembered && remembered->isDescendantOfView(view_.get()) &&
      remembered->becomeFirstResponder()) {
    return;
  }
  if (const auto preferred = preferredFocusView()) preferred->becomeFirstResponder();
}

void UIViewController::takeFocusFrom(UIViewController& other) {
  restoreFocus();
  const auto window = view_ ? view_->window() : nullptr;
  const auto focus = std::dynamic_pointer_cast<UIView>(window ? window->firstResponder() : nullptr);
  if (focus && focus->isDescendantOfView(other.view().get()) &&
      !focus->isDescendantOfView(view_.get())) {
    focus->resignFirstResponder();
  }
}

// Titles and sizes.

void UIViewController::setTitle(const std::string& title) {
  title_ = title;
  if (navigationItem_) navigationItem_->setTitle(title);
}

const std::shared_ptr<UINavigationItem>& UIViewController::navigationItem() {
  if (!navigationItem_) navigationItem_ = std::make_shared<UINavigationItem>(title_);
  return navigationItem_;
}

void UIViewController::setPreferredContentSize(CGSize size) {
  if (size == preferredContentSize_) return;
  preferredContentSize_ = size;
  const auto handler = preferredContentSizeHandler_;
  if (handler) handler();
}

// Children.

void UIViewController::addChildViewController(const std::shared_ptr<UIViewController>& child) {
  if (!child || child.get() == this) {
    detail::programmingError("addChildViewController needs another controller");
  }
  const auto parent = child->parent_.lock();
  if (parent.get() == this) return;
  if (parent) child->removeFromParentViewController();
  child->parent_ = sharedFrom(this);
  children_.push_back(child);
}

void UIViewController::removeFromParentViewController() {
  const auto self = sharedFrom(this);
  const auto parent = parent_.lock();
  parent_.reset();
  if (parent) std::erase(parent->children_, self);
}

// Events.

bool UIViewController::accessibilityPerformEscape() {
  if (presented_) {
    dismissViewControllerAnimated(true);
    return true;
  }
  if (const auto parent = parent_.lock()) return parent->accessibilityPerformEscape();
  if (const auto presenting = presenting_.lock()) return presenting->accessibilityPerformEscape();
  return false;
}

std::shared_ptr<UIResponder> UIViewController::nextResponder() const {
  if (const auto superview = view_ ? view_->superview() : nullptr) return superview;
  return presenting_.lock();
}

}  // namespace tasklane

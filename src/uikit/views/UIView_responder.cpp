#include "uikit/base/Backend.h"
#include "uikit/views/UIViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {

std::shared_ptr<UIResponder> UIView::nextResponder() const {
  if (auto controller = viewController_.lock()) return controller;
  return superview();
}

bool UIView::isFirstResponder() const {
  return window_ && window_->firstResponder_.lock().get() == this;
}

bool UIView::becomeFirstResponder() {
  if (isFirstResponder()) return true;
  if (!window_ || !canBecomeFirstResponder()) return false;
  if (const auto old = window_->firstResponder(); old && !old->resignFirstResponder()) return false;
  // The one that resigned may have moved things about.
  if (!window_) return false;
  window_->firstResponder_ = sharedFrom<UIResponder>(this);
  if (peer_) peer_->firstResponderDidChange(true);
  return true;
}

bool UIView::resignFirstResponder() {
  if (!isFirstResponder()) return true;
  window_->firstResponder_.reset();
  if (peer_) peer_->firstResponderDidChange(false);
  return true;
}

void UIView::resignBeforeLeaving() {
  if (!window_) return;
  const auto view = std::dynamic_pointer_cast<UIView>(window_->firstResponder());
  if (!view || !view->isDescendantOfView(this)) return;
  // One that refuses loses it all the same: nobody types into what is not there.
  if (!view->resignFirstResponder()) view->UIView::resignFirstResponder();
}

}  // namespace tasklane

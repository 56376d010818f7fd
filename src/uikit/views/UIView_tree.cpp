#include <algorithm>
#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/base/ProgrammingError.h"
#include "uikit/views/NSLayoutConstraint.h"
#include "uikit/views/UIView.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {

std::shared_ptr<UIView> UIView::superview() const {
  return superview_ ? std::static_pointer_cast<UIView>(superview_->weak_from_this().lock())
                    : nullptr;
}

std::shared_ptr<UIWindow> UIView::window() const {
  return window_ ? std::static_pointer_cast<UIWindow>(window_->weak_from_this().lock()) : nullptr;
}

bool UIView::isDescendantOfView(const UIView* view) const {
  for (const UIView* v = this; v && view; v = v->superview_) {
    if (v == view) return true;
  }
  return false;
}

void UIView::addSubview(const std::shared_ptr<UIView>& view) { insert(view, subviews_.size()); }

void UIView::insertSubviewAtIndex(const std::shared_ptr<UIView>& view, std::size_t index) {
  insert(view, index);
}

void UIView::insert(const std::shared_ptr<UIView>& subview, std::size_t index) {
  const auto view = subview;  // the caller's may be an element of a list that changes
  if (!view) detail::programmingError("addSubview needs a view; it was given none");
  if (isDescendantOfView(view.get())) {
    detail::programmingError("addSubview cannot put a view inside itself: " + view->description());
  }
  if (view->superview_ == this) {
    const auto place = std::find(subviews_.begin(), subviews_.end(), view);
    const auto target =
        subviews_.begin() + static_cast<std::ptrdiff_t>(std::min(index, subviews_.size() - 1));
    if (place == target) return;
    if (place < target) {
      std::rotate(place, place + 1, target + 1);
    } else {
      std::rotate(target, place, place + 1);
    }
    if (peer_) peer_->subviewsDidChange();
    return;
  }
  const UIColor oldTint = view->tintColor();
  view->willMoveToSuperview(sharedFrom(weak_from_this().lock() ? this : nullptr));
  if (view->superview_) view->superview_->willRemoveSubview(view);
  const bool changesWindow = view->window_ != window_;
  if (changesWindow) {
    view->willMoveSubtreeToWindow(window());
    view->resignBeforeLeaving();
  }
  view->detachFromSuperview();
  view->superview_ = this;
  subviews_.insert(
      subviews_.begin() + static_cast<std::ptrdiff_t>(std::min(index, subviews_.size())), view);
  if (changesWindow) {
    view->setWindowOfSubtree(window_);
    view->didMoveSubtreeToWindow();
  }
  view->didMoveToSuperview();
  didAddSubview(view);
  if (!view->tintColor_ && view->tintColor() != oldTint) view->cascadeTint();
  setNeedsLayout();
  if (view->superview_ == this && window_ && window_->isVisible()) {
    view->makePeers();
    if (peer_) peer_->subviewsDidChange();
  }
}

void UIView::removeFromSuperview() {
  if (!superview_) return;
  const auto self = sharedFrom(this);
  const auto oldTint = tintColor();
  willMoveToSuperview(nullptr);
  if (!superview_) return;
  superview_->willRemoveSubview(self);
  const bool leavesWindow = window_ != nullptr;
  if (leavesWindow) {
    willMoveSubtreeToWindow(nullptr);
    resignBeforeLeaving();
  }
  detachFromSuperview();
  if (leavesWindow) {
    setWindowOfSubtree(nullptr);
    didMoveSubtreeToWindow();
  }
  didMoveToSuperview();
  if (!tintColor_ && tintColor() != oldTint) cascadeTint();
}

void UIView::detachFromSuperview() {
  if (window_) dropPeers();
  UIView* const superview = std::exchange(superview_, nullptr);
  if (!superview) return;
  superview->deactivateConstraintsWith(*this);
  auto& siblings = superview->subviews_;
  siblings.erase(std::find_if(siblings.begin(), siblings.end(),
                              [this](const auto& view) { return view.get() == this; }));
  superview->setNeedsLayout();
  if (superview->peer_) superview->peer_->subviewsDidChange();
}

void UIView::willMoveSubtreeToWindow(const std::shared_ptr<UIWindow>& window) {
  willMoveToWindow(window);
  const auto subviews = subviews_;
  for (const auto& subview : subviews) subview->willMoveSubtreeToWindow(window);
}

void UIView::setWindowOfSubtree(UIWindow* window) {
  window_ = window;
  for (const auto& subview : subviews_) subview->setWindowOfSubtree(window);
  if (window) return;
  presentation_.reset();
  peer_.reset();
}

void UIView::didMoveSubtreeToWindow() {
  didMoveToWindow();
  const auto subviews = subviews_;
  for (const auto& subview : subviews) {
    // One that a hook has moved elsewhere has been told already.
    if (subview->superview_ == this) subview->didMoveSubtreeToWindow();
  }
}

void UIView::makePeers() {
  if (!peer_) peer_ = backend::makePeer(*this);
  for (const auto& subview : subviews_) subview->makePeers();
  if (peer_ && isFirstResponder()) peer_->firstResponderDidChange(true);
}

void UIView::dropPeers() {
  presentation_.reset();
  for (const auto& subview : subviews_) subview->dropPeers();
  peer_.reset();
}

}  // namespace tasklane

#include "uikit/views/UIView.h"

#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/views/UIViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

constexpr UIColor kSystemTint{0, 122.0 / 255, 1, 1};

/// Stores a value that the peer shows; answers whether it was another one.
template <class T>
bool replace(T& place, T value) {
  if (place == value) return false;
  place = std::move(value);
  return true;
}

}  // namespace

UIView::UIView(CGRect frame) : frame_(frame) {}

UIView::~UIView() {
  if (window_) dropPeers();
  for (const auto& subview : subviews_) {
    subview->superview_ = nullptr;
    if (subview->window_) subview->setWindowOfSubtree(nullptr);
  }
  // Subviews that nobody else holds go one by one: a deep tree must not make a deep call.
  std::vector<std::shared_ptr<UIView>> going = std::move(subviews_);
  while (!going.empty()) {
    const auto view = std::move(going.back());
    going.pop_back();
    if (view.use_count() > 1) continue;
    for (const auto& subview : view->subviews_) subview->superview_ = nullptr;
    std::move(view->subviews_.begin(), view->subviews_.end(), std::back_inserter(going));
    view->subviews_.clear();
  }
}

// Geometry.

void UIView::setFrame(CGRect frame) {
  if (frame == frame_) return;
  recordForAnimation();
  const CGSize oldSize = frame_.size;
  frame_ = frame;
  if (oldSize != frame.size) {
    resizeSubviews(oldSize);
    setNeedsLayout();
  }
  peerNeedsUpdate();
}

void UIView::setBounds(CGRect bounds) {
  if (bounds.size != frame_.size) {
    setFrame({frame_.midX() - bounds.size.width / 2, frame_.midY() - bounds.size.height / 2,
              bounds.size.width, bounds.size.height});
  }
  if (bounds.origin == boundsOrigin_) return;
  recordForAnimation();
  boundsOrigin_ = bounds.origin;
  setNeedsLayout();
  peerNeedsUpdate();
}

CGPoint UIView::convertPointToView(CGPoint point, const UIView* view) const {
  for (const UIView* v = this; v && v != view && v->superview_; v = v->superview_) {
    point.x += v->frame_.origin.x - v->boundsOrigin_.x;
    point.y += v->frame_.origin.y - v->boundsOrigin_.y;
    if (v->superview_ == view) return point;
  }
  for (const UIView* v = view; v && v != this && v->superview_; v = v->superview_) {
    point.x -= v->frame_.origin.x - v->boundsOrigin_.x;
    point.y -= v->frame_.origin.y - v->boundsOrigin_.y;
    if (v->superview_ == this) return point;
  }
  return point;
}

CGRect UIView::convertRectToView(CGRect rect, const UIView* view) const {
  return {convertPointToView(rect.origin, view), rect.size};
}

// Looks.

void UIView::setBackgroundColor(const std::optional<UIColor>& color) {
  if (replace(backgroundColor_, color)) peerNeedsUpdate();
}

void UIView::setHidden(bool hidden) {
  if (replace(hidden_, hidden)) peerNeedsUpdate();
}

void UIView::setAlpha(CGFloat alpha) {
  if (alpha == alpha_) return;
  recordForAnimation();
  alpha_ = alpha;
  peerNeedsUpdate();
}

void UIView::setCornerRadius(CGFloat radius) {
  if (replace(cornerRadius_, radius)) peerNeedsUpdate();
}

void UIView::setContentMode(UIViewContentMode mode) {
  if (replace(contentMode_, mode)) peerNeedsUpdate();
}

void UIView::setUserInteractionEnabled(bool enabled) {
  if (replace(userInteractionEnabled_, enabled)) peerNeedsUpdate();
}

void UIView::peerNeedsUpdate() {
  if (peer_) peer_->viewDidChange();
}

UIColor UIView::tintColor() const {
  for (const UIView* v = this; v; v = v->superview_) {
    if (v->tintColor_) return *v->tintColor_;
  }
  return kSystemTint;
}

void UIView::setTintColor(const std::optional<UIColor>& color) {
  const UIColor before = tintColor();
  tintColor_ = color;
  if (tintColor() != before) cascadeTint();
}

void UIView::cascadeTint() {
  tintColorDidChange();
  const auto subviews = subviews_;
  for (const auto& subview : subviews) {
    if (!subview->tintColor_) subview->cascadeTint();
  }
}

void UIView::tintColorDidChange() { peerNeedsUpdate(); }

// Accessibility.

void UIView::setIsAccessibilityElement(bool flag) {
  if (replace(accessibilityElement_, flag)) peerNeedsUpdate();
}

void UIView::setAccessibilityLabel(std::optional<std::string> label) {
  if (replace(accessibilityLabel_, std::move(label))) peerNeedsUpdate();
}

void UIView::setAccessibilityHint(std::optional<std::string> hint) {
  if (replace(accessibilityHint_, std::move(hint))) peerNeedsUpdate();
}

void UIView::setAccessibilityValue(std::optional<std::string> value) {
  if (replace(accessibilityValue_, std::move(value))) peerNeedsUpdate();
}

void UIView::setAccessibilityTraits(UIAccessibilityTraits traits) {
  if (replace(accessibilityTraits_, traits)) peerNeedsUpdate();
}

}  // namespace tasklane

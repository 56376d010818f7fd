#include <algorithm>
#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/views/NSLayoutConstraint.h"
#include "uikit/views/UIView.h"
#include "uikit/views/UIViewController.h"
#include "uikit/views/internal/ConstraintLayout.h"

namespace tasklane {
namespace {

/// One direction of autoresizing: what gives way shares the change in proportion to its size, or
/// equally where all of it is zero.
void autoresize(CGFloat& origin, CGFloat& length, CGFloat oldTotal, CGFloat newTotal,
                bool flexibleBefore, bool flexibleLength, bool flexibleAfter) {
  const CGFloat change = newTotal - oldTotal;
  const CGFloat after = oldTotal - origin - length;
  const CGFloat parts[3] = {flexibleBefore ? origin : 0, flexibleLength ? length : 0,
                            flexibleAfter ? after : 0};
  const bool flexible[3] = {flexibleBefore, flexibleLength, flexibleAfter};
  const CGFloat sum = parts[0] + parts[1] + parts[2];
  const int count = flexible[0] + flexible[1] + flexible[2];
  if (count == 0) return;
  const auto share = [&](int i) {
    if (!flexible[i]) return 0.0;
    return sum != 0 ? change * parts[i] / sum : change / count;
  };
  origin += share(0);
  length = std::max(0.0, length + share(1));
}

}  // namespace

void UIView::setNeedsLayout() {
  if (needsLayout_ && subtreeNeedsLayout_ && (!superview_ || superview_->subtreeNeedsLayout_)) {
    return;
  }
  needsLayout_ = true;
  subtreeNeedsLayout_ = true;
  for (UIView* v = superview_; v && !v->subtreeNeedsLayout_; v = v->superview_) {
    v->subtreeNeedsLayout_ = true;
  }
  peerNeedsUpdate();
}

void UIView::layoutIfNeeded() {
  if (!subtreeNeedsLayout_) return;
  const auto keepsAlive = weak_from_this().lock();
  subtreeNeedsLayout_ = false;
  if (std::exchange(needsLayout_, false)) {
    const auto controller = viewController_.lock();
    if (controller) controller->viewWillLayoutSubviews();
    layoutSubviews();
    if (controller) controller->viewDidLayoutSubviews();
  }
  // Requests for the subviews are met below; one for this view, made while it laid out, is left
  // for the next time.
  subtreeNeedsLayout_ = needsLayout_;
  const auto subviews = subviews_;
  for (const auto& subview : subviews) {
    if (subview->superview_ == this) subview->layoutIfNeeded();
  }
}

void UIView::layoutSubviews() { detail::placeSubviewsByConstraints(*this); }

void UIView::resizeSubviews(CGSize oldSize) {
  const auto subviews = subviews_;
  for (const auto& subview : subviews) {
    const unsigned mask = subview->autoresizingMask_;
    if (mask == UIViewAutoresizingNone || !subview->translatesAutoresizingMask_) continue;
    CGRect frame = subview->frame_;
    autoresize(frame.origin.x, frame.size.width, oldSize.width, frame_.size.width,
               mask & UIViewAutoresizingFlexibleLeftMargin, mask & UIViewAutoresizingFlexibleWidth,
               mask & UIViewAutoresizingFlexibleRightMargin);
    autoresize(frame.origin.y, frame.size.height, oldSize.height, frame_.size.height,
               mask & UIViewAutoresizingFlexibleTopMargin, mask & UIViewAutoresizingFlexibleHeight,
               mask & UIViewAutoresizingFlexibleBottomMargin);
    subview->setFrame(frame);
  }
}

CGSize UIView::sizeThatFits(CGSize size) {
  (void)size;
  return frame_.size;
}

void UIView::sizeToFit() {
  const CGSize fit = sizeThatFits(frame_.size);
  setFrame({frame_.origin, fit});
}

CGSize UIView::intrinsicContentSize() { return {UIViewNoIntrinsicMetric, UIViewNoIntrinsicMetric}; }

void UIView::invalidateIntrinsicContentSize() {
  if (superview_) superview_->setNeedsLayout();
}

CGSize UIView::systemLayoutSizeFittingSize(CGSize targetSize) {
  return detail::sizeFittingConstraints(*this, targetSize);
}

void UIView::setLayoutMargins(UIEdgeInsets margins) {
  if (layoutMargins_ == margins) return;
  layoutMargins_ = margins;
  setNeedsLayout();
  invalidateIntrinsicContentSize();
}

void UIView::setTranslatesAutoresizingMaskIntoConstraints(bool flag) {
  if (translatesAutoresizingMask_ == flag) return;
  translatesAutoresizingMask_ = flag;
  if (superview_) superview_->setNeedsLayout();
}

void UIView::deactivateConstraintsWith(const UIView& subview) {
  const auto constraints = constraints_;
  for (const auto& constraint : constraints) {
    if (constraint->firstItem().get() == &subview || constraint->secondItem().get() == &subview) {
      constraint->setActive(false);
    }
  }
}

UIUserInterfaceLayoutDirection UIView::effectiveUserInterfaceLayoutDirection() const {
  return backend::layoutDirection();
}

}  // namespace tasklane

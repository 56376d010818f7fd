#include "uikit/UIScrollView.h"

#include <algorithm>
#include <utility>

#include "uikit/Tween.h"
#include "uikit/UIWindow.h"

namespace tasklane {
namespace {
constexpr double kScrollSeconds = 0.25;
}

UIScrollView::UIScrollView(CGRect frame) : UIView(frame) { setClipsToBounds(true); }

UIScrollView::~UIScrollView() = default;

void UIScrollView::setContentOffset(CGPoint offset, bool animated) {
  scrolling_.reset();
  const CGPoint from = contentOffset();
  if (offset == from) return;
  if (!animated || !Tween::isWorthwhileIn(window().get())) {
    setBounds({offset, bounds().size});
    return;
  }
  scrolling_ = Tween::start(kScrollSeconds, [this, from, offset](double progress) {
    // A step may have this view told of something that ends the scrolling or the view.
    const auto keepsAlive = weak_from_this().lock();
    setBounds({{from.x + (offset.x - from.x) * progress, from.y + (offset.y - from.y) * progress},
               bounds().size});
  });
}

void UIScrollView::setBounds(CGRect newBounds) {
  const CGPoint before = contentOffset();
  UIView::setBounds(newBounds);
  if (contentOffset() != before) didScroll();
}

void UIScrollView::setContentSize(CGSize size) {
  if (contentSize_ == size) return;
  contentSize_ = size;
  peerNeedsUpdate();
}

void UIScrollView::setContentInset(UIEdgeInsets inset) {
  if (contentInset_ == inset) return;
  // What the insets uncovered stays at the edge.
  const bool atTop = contentOffset().y == -contentInset_.top;
  contentInset_ = inset;
  if (atTop) setContentOffset({contentOffset().x, -inset.top});
  peerNeedsUpdate();
}

void UIScrollView::setScrollEnabled(bool enabled) {
  if (scrollEnabled_ == enabled) return;
  scrollEnabled_ = enabled;
  peerNeedsUpdate();
}

void UIScrollView::setIndicatorStyle(UIScrollViewIndicatorStyle style) {
  if (indicatorStyle_ == style) return;
  indicatorStyle_ = style;
  peerNeedsUpdate();
}

CGPoint UIScrollView::offsetWithinContent(CGPoint offset) const {
  const CGSize size = frame().size;
  const auto clamp = [](CGFloat value, CGFloat first, CGFloat last) {
    return std::max(first, std::min(value, last));
  };
  return {
      clamp(offset.x, -contentInset_.left, contentSize_.width + contentInset_.right - size.width),
      clamp(offset.y, -contentInset_.top,
            contentSize_.height + contentInset_.bottom - size.height)};
}

void UIScrollView::scrollRectToVisible(CGRect rect, bool animated) {
  const CGRect shown = CGRect{contentOffset(), frame().size}.insetBy(contentInset_);
  const auto move = [](CGFloat from, CGFloat to, CGFloat shownFrom, CGFloat shownTo) {
    // The nearer edge decides; of what is too large the beginning is shown.
    if (from < shownFrom || to - from > shownTo - shownFrom) return from - shownFrom;
    return to > shownTo ? to - shownTo : 0.0;
  };
  const CGPoint offset{
      contentOffset().x + move(rect.minX(), rect.maxX(), shown.minX(), shown.maxX()),
      contentOffset().y + move(rect.minY(), rect.maxY(), shown.minY(), shown.maxY())};
  setContentOffset(offsetWithinContent(offset), animated);
}

void UIScrollView::scrollAroundViewToShow(const UIView& view, CGRect rect) {
  for (auto around = view.superview(); around; around = around->superview()) {
    const auto scrollView = std::dynamic_pointer_cast<UIScrollView>(around);
    if (!scrollView || !scrollView->isScrollEnabled()) continue;
    scrollView->scrollRectToVisible(view.convertRectToView(rect, scrollView.get()), false);
  }
}

void UIScrollView::userDidScrollToOffset(CGPoint offset) {
  scrolling_.reset();
  if (!scrollEnabled_) return;
  setBounds({offsetWithinContent(offset), bounds().size});
}

}  // namespace tasklane

#include "uikit/views/UIScrollView.h"

#include <algorithm>
#include <utility>

#include "uikit/views/UIWindow.h"
#include "uikit/views/internal/Tween.h"

namespace tasklane {
namespace {
constexpr double kScrollSeconds = 0.25;
}

UIScrollView::UIScrollView(CGRect frame) : UIView(frame) {}

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

void UIScrollView::setFrame(CGRect newFrame) {
  const bool wasWithin = offsetWithinContent(contentOffset()) == contentOffset();
  UIView::setFrame(newFrame);
  if (wasWithin) setBounds({offsetWithinContent(contentOffset()), bounds().size});
}

void UIScrollView::setContentSize(CGSize size) {
  if (contentSize_ == size) return;
  const bool wasWithin = offsetWithinContent(contentOffset()) == contentOffset();
  contentSize_ = size;
  if (wasWithin) setBounds({offsetWithinContent(contentOffset()), bounds().size});
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

CGPoint UIScrollView::farthestOffset() const {
  const CGSize size = frame().size;
  return {std::max(0.0, contentSize_.width - size.width),
          std::max(0.0, contentSize_.height - size.height)};
}

CGPoint UIScrollView::offsetWithinContent(CGPoint offset) const {
  const CGPoint last = farthestOffset();
  return {std::max(0.0, std::min(offset.x, last.x)), std::max(0.0, std::min(offset.y, last.y))};
}

void UIScrollView::scrollRectToVisible(CGRect rect, bool animated) {
  const CGRect shown{contentOffset(), frame().size};
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

bool UIScrollView::isMostlyInSight(CGRect rect) const {
  const auto self = shared_from_this();
  for (auto around = std::static_pointer_cast<const UIView>(self); around;
       around = around->superview()) {
    if (!dynamic_cast<const UIScrollView*>(around.get())) continue;
    const CGRect part = convertRectToView(rect, around.get()), shown = around->bounds();
    const CGFloat seen = std::min(part.maxY(), shown.maxY()) - std::max(part.minY(), shown.minY());
    if (2 * seen < std::min(part.size.height, shown.size.height)) return false;
  }
  return true;
}

void UIScrollView::userDidScrollToOffset(CGPoint offset) {
  scrolling_.reset();
  if (!scrollEnabled_) return;
  setBounds({offsetWithinContent(offset), bounds().size});
}

}  // namespace tasklane

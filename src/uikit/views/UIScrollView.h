#pragma once

#include <memory>

#include "uikit/views/UIView.h"

namespace tasklane {

enum class UIScrollViewIndicatorStyle { Default = 0, Black = 1, White = 2 };

class Tween;
class UIScrollView;
/// Hears of scrolling, by a person or a program. Main thread.
class UIScrollViewDelegate {
 public:
  virtual ~UIScrollViewDelegate() = default;
  virtual void scrollViewDidScroll(UIScrollView& scrollView) { (void)scrollView; }
};

/// A window onto a larger content: the content offset is the bounds' origin. Programs may set any
/// offset; a person cannot scroll beyond the content and its insets.
class UIScrollView : public UIView {
 public:
  explicit UIScrollView(CGRect frame = {});
  ~UIScrollView() override;

  CGPoint contentOffset() const { return bounds().origin; }
  /// Animated on a screen, the offset itself moves step by step; a person who scrolls meanwhile, or
  /// another setting, takes over.
  virtual void setContentOffset(CGPoint offset, bool animated = false);
  void setBounds(CGRect bounds) override;
  /// What was scrolled to the end stays at the end when the frame grows or the content shrinks,
  /// unless a program had scrolled beyond it.
  void setFrame(CGRect frame) override;
  CGSize contentSize() const { return contentSize_; }
  virtual void setContentSize(CGSize size);
  bool isScrollEnabled() const { return scrollEnabled_; }
  void setScrollEnabled(bool enabled);
  UIScrollViewIndicatorStyle indicatorStyle() const { return indicatorStyle_; }
  void setIndicatorStyle(UIScrollViewIndicatorStyle style);
  void scrollRectToVisible(CGRect rect, bool animated);
  /// Scrolls everything that scrolls around a view until a part of the view shows.
  static void scrollAroundViewToShow(const UIView& view, CGRect rect);

  /// Whether half of a part of this view, or as much as there is room for, can be seen in what
  /// scrolls.
  bool isMostlyInSight(CGRect rect) const;

  /// The offset at which the end of the content shows: no person scrolls further.
  virtual CGPoint farthestOffset() const;
  /// The nearest offset that shows nothing beyond the content.
  CGPoint offsetWithinContent(CGPoint offset) const;
  /// A person scrolled to an offset (the backend calls this).
  void userDidScrollToOffset(CGPoint offset);

 protected:
  /// The content offset has changed.
  virtual void didScroll() {}

 private:
  CGSize contentSize_;
  std::shared_ptr<Tween> scrolling_;
  UIScrollViewIndicatorStyle indicatorStyle_ = UIScrollViewIndicatorStyle::Default;
  bool scrollEnabled_ = true;
};

}  // namespace tasklane

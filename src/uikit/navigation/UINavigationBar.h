#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "uikit/views/UINavigationItem.h"
#include "uikit/views/UIView.h"

namespace tasklane {

class UIButton;
class UILabel;

enum class UIBarStyle { Default = 0, Black = 1, BlackTranslucent = 2 };

/// The bar above a stack of screens, 44 points high at the default text size: title in the middle,
/// buttons at the sides, a back button when there is a screen below. Sides follow the layout
/// direction.
class UINavigationBar : public UIView {
 public:
  /// 44 points, more where the desktop's text size asks for it.
  static CGFloat standardHeight();

  explicit UINavigationBar(CGRect frame = {});
  ~UINavigationBar() override;

  UIBarStyle barStyle() const { return barStyle_; }
  void setBarStyle(UIBarStyle style);
  /// The background behind the bar's items; none is the bar style's own.
  const std::vector<std::shared_ptr<UINavigationItem>>& items() const { return items_; }
  void setItems(const std::vector<std::shared_ptr<UINavigationItem>>& items, bool animated = false);
  /// The last of the items, or null.
  std::shared_ptr<UINavigationItem> topItem() const;
  /// The last but one, or null.
  std::shared_ptr<UINavigationItem> backItem() const;
  void setBackHandler(std::function<void()> handler) { backHandler_ = std::move(handler); }

  void layoutSubviews() override;
  CGSize sizeThatFits(CGSize size) override;

 private:
  std::function<void()> handlerOfChanges();
  void itemDidChange();
  void applyColors();
  void showTitle(const UINavigationItem& item);
  void showButton(UIButton& button, const std::shared_ptr<UIBarButtonItem>& item);
  void pressLeft();
  void pressRight();
  void fitTexts();
  CGFloat placeButton(UIButton& button, bool atLeadingEdge, CGFloat widest);
  std::vector<std::shared_ptr<UINavigationItem>> items_;
  std::shared_ptr<UILabel> titleLabel_;
  std::shared_ptr<UIButton> leftButton_, rightButton_;
  std::shared_ptr<UIView> hairline_, titleView_;
  std::function<void()> backHandler_;
  UIBarStyle barStyle_ = UIBarStyle::Default;
};

}  // namespace tasklane

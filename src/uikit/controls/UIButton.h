#pragma once

#include <functional>
#include <string>

#include "uikit/drawing/UIFont.h"
#include "uikit/views/UIView.h"

namespace tasklane {

/// A text in the tint colour that does something when pressed, by pointer or keyboard.
class UIButton : public UIView {
 public:
  explicit UIButton(CGRect frame = {});

  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  const UIFont& font() const { return font_; }
  void setFont(const UIFont& font);
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  /// Whether it points back to the screen before (drawn with a chevron).
  bool pointsBack() const { return pointsBack_; }
  void setPointsBack(bool pointsBack);
  /// What a chevron takes of the width beside a title of a font, with the gap between.
  static CGFloat chevronRoom(const UIFont& font);
  void setPressHandler(std::function<void()> handler) { pressHandler_ = std::move(handler); }
  /// What a press does; a disabled button does nothing.
  void press();

  bool canBecomeFirstResponder() const override { return enabled_; }
  CGSize sizeThatFits(CGSize size) override;
  CGSize intrinsicContentSize() override;
  std::optional<std::string> accessibilityLabel() const override;
  UIAccessibilityTraits accessibilityTraits() const override;

 private:
  std::string title_;
  UIFont font_;
  std::function<void()> pressHandler_;
  bool enabled_ = true, pointsBack_ = false;
};

}  // namespace tasklane

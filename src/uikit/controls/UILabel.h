#pragma once

#include <optional>
#include <string>

#include "uikit/drawing/UIFont.h"
#include "uikit/views/UIView.h"

namespace tasklane {

enum class NSTextAlignment { Left = 0, Center = 1, Right = 2, Natural = 4 };

/// A short text. It never wraps beyond numberOfLines (0: any number) and is cut with an ellipsis.
class UILabel : public UIView {
 public:
  explicit UILabel(CGRect frame = {});

  const std::optional<std::string>& text() const { return text_; }
  void setText(std::optional<std::string> text);
  const UIFont& font() const { return font_; }
  void setFont(const UIFont& font);
  const std::optional<UIColor>& textColor() const { return textColor_; }
  void setTextColor(const std::optional<UIColor>& color);
  /// Natural follows the text's own direction.
  NSTextAlignment textAlignment() const { return textAlignment_; }
  void setTextAlignment(NSTextAlignment alignment);
  int numberOfLines() const { return numberOfLines_; }
  void setNumberOfLines(int lines);

  CGSize sizeThatFits(CGSize size) override;
  CGSize intrinsicContentSize() override;
  std::optional<std::string> accessibilityLabel() const override;
  UIAccessibilityTraits accessibilityTraits() const override;

 private:
  std::optional<std::string> text_;
  UIFont font_;
  std::optional<UIColor> textColor_;
  NSTextAlignment textAlignment_ = NSTextAlignment::Natural;
  int numberOfLines_ = 1;
};

}  // namespace tasklane

#include "uikit/controls/UILabel.h"

#include <cmath>
#include <utility>

#include "uikit/base/Backend.h"

namespace tasklane {

UILabel::UILabel(CGRect frame) : UIView(frame), font_(UIFont::systemFontOfSize(17)) {
  setUserInteractionEnabled(false);
  setIsAccessibilityElement(true);
}

void UILabel::setText(std::optional<std::string> text) {
  if (text_ == text) return;
  text_ = std::move(text);
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

void UILabel::setFont(const UIFont& font) {
  if (font_ == font) return;
  font_ = font;
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

void UILabel::setTextColor(const std::optional<UIColor>& color) {
  if (textColor_ == color) return;
  textColor_ = color;
  peerNeedsUpdate();
}

void UILabel::setTextAlignment(NSTextAlignment alignment) {
  if (textAlignment_ == alignment) return;
  textAlignment_ = alignment;
  peerNeedsUpdate();
}

void UILabel::setNumberOfLines(int lines) {
  if (numberOfLines_ == lines) return;
  numberOfLines_ = lines;
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

CGSize UILabel::sizeThatFits(CGSize size) {
  if (!text_ || text_->empty()) return {};
  const CGFloat width = size.width > 0 ? size.width : CGFLOAT_MAX;
  const CGSize text = backend::sizeOfText(*text_, font_, width, numberOfLines_);
  return {std::ceil(text.width), std::ceil(text.height)};
}

CGSize UILabel::intrinsicContentSize() { return sizeThatFits({CGFLOAT_MAX, CGFLOAT_MAX}); }

std::optional<std::string> UILabel::accessibilityLabel() const {
  const auto label = UIView::accessibilityLabel();
  return label ? label : text_;
}

UIAccessibilityTraits UILabel::accessibilityTraits() const {
  return UIView::accessibilityTraits() | UIAccessibilityTraitStaticText;
}

}  // namespace tasklane

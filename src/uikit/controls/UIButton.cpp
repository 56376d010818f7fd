#include "uikit/controls/UIButton.h"

#include <cmath>
#include <utility>

#include "uikit/base/Backend.h"

namespace tasklane {

UIButton::UIButton(CGRect frame)
    : UIView(frame), font_(UIFont::preferredFontForTextStyle(UIFontTextStyleBody)) {
  setIsAccessibilityElement(true);
}

void UIButton::setTitle(std::string title) {
  if (title_ == title) return;
  title_ = std::move(title);
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

void UIButton::setFont(const UIFont& font) {
  if (font_ == font) return;
  font_ = font;
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

void UIButton::setEnabled(bool enabled) {
  if (enabled_ == enabled) return;
  enabled_ = enabled;
  if (!enabled) resignFirstResponder();
  peerNeedsUpdate();
}

void UIButton::setPointsBack(bool pointsBack) {
  if (pointsBack_ == pointsBack) return;
  pointsBack_ = pointsBack;
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

void UIButton::press() {
  const auto keepsAlive = weak_from_this().lock();
  const auto handler = pressHandler_;  // the press may replace it
  if (enabled_ && handler) handler();
}

CGFloat UIButton::chevronRoom(const UIFont& font) {
  constexpr CGFloat kUsualRoom = 18, kUsualPoints = 17;
  return std::ceil(kUsualRoom * font.pointSize() / kUsualPoints);
}

CGSize UIButton::sizeThatFits(CGSize size) {
  (void)size;
  const CGSize text = backend::sizeOfText(title_, font_, CGFLOAT_MAX, 1);
  return {std::ceil(text.width) + (pointsBack_ ? chevronRoom(font_) : 0),
          std::ceil(font_.lineHeight())};
}

CGSize UIButton::intrinsicContentSize() { return sizeThatFits({}); }

std::optional<std::string> UIButton::accessibilityLabel() const {
  const auto label = UIView::accessibilityLabel();
  return label ? label : title_;
}

UIAccessibilityTraits UIButton::accessibilityTraits() const {
  return UIView::accessibilityTraits() | UIAccessibilityTraitButton |
         (enabled_ ? UIAccessibilityTraitNone : UIAccessibilityTraitNotEnabled);
}

}  // namespace tasklane

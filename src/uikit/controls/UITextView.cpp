#include "uikit/controls/UITextView.h"

#include <cmath>
#include <utility>

#include "uikit/base/Backend.h"

namespace tasklane {

UITextView::UITextView(CGRect frame)
    : UIScrollView(frame), font_(UIFont::preferredFontForTextStyle(UIFontTextStyleBody)) {
  setIsAccessibilityElement(true);
}

void UITextView::setText(const std::string& text) {
  if (text_ == text) return;
  text_ = text;
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

void UITextView::setFont(const UIFont& font) {
  if (font_ == font) return;
  font_ = font;
  peerNeedsUpdate();
}

void UITextView::setTextColor(const std::optional<UIColor>& color) {
  if (textColor_ == color) return;
  textColor_ = color;
  peerNeedsUpdate();
}

void UITextView::setTextContainerInset(UIEdgeInsets inset) {
  if (textContainerInset_ == inset) return;
  textContainerInset_ = inset;
  peerNeedsUpdate();
}

void UITextView::setPlaceholder(std::string placeholder) {
  if (placeholder_ == placeholder) return;
  placeholder_ = std::move(placeholder);
  peerNeedsUpdate();
}

void UITextView::userDidChangeText(std::string text) {
  if (text_ == text) return;
  const auto self = sharedFrom(this);
  text_ = std::move(text);
  peerNeedsUpdate();
  if (const auto delegate = delegate_.lock()) delegate->textViewDidChange(self);
}

CGSize UITextView::sizeThatFits(CGSize size) {
  const UIEdgeInsets inset = textContainerInset_;
  const CGFloat width = size.width > 0 ? size.width - inset.left - inset.right : CGFLOAT_MAX;
  // An empty text, and the line that a final line break begins, are a line high.
  const CGSize text = backend::sizeOfText(
      text_.empty() || text_.back() == '\n' ? text_ + " " : text_, font_, width, 0);
  return {std::ceil(text.width + inset.left + inset.right),
          std::ceil(text.height + inset.top + inset.bottom)};
}

}  // namespace tasklane

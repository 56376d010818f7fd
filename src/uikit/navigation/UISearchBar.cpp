#include "uikit/navigation/UISearchBar.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uikit/drawing/UIFont.h"

namespace tasklane {
namespace {
constexpr CGFloat kUsualHeight = 56, kAroundText = 32;

CGFloat standardHeight() {
  const auto font = UIFont::preferredFontForTextStyle(UIFontTextStyleBody);
  return std::max(kUsualHeight, std::ceil(font.lineHeight()) + kAroundText);
}
}  // namespace

UISearchBar::UISearchBar(CGRect frame) : UIView(frame) { setIsAccessibilityElement(true); }

void UISearchBar::setText(const std::string& text) {
  if (text_ == text) return;
  text_ = text;
  peerNeedsUpdate();
}

void UISearchBar::setPlaceholder(std::string placeholder) {
  if (placeholder_ == placeholder) return;
  placeholder_ = std::move(placeholder);
  peerNeedsUpdate();
}

void UISearchBar::setBarTintColor(const std::optional<UIColor>& color) {
  if (barTintColor_ == color) return;
  barTintColor_ = color;
  peerNeedsUpdate();
}

void UISearchBar::setTextColor(const std::optional<UIColor>& color) {
  if (textColor_ == color) return;
  textColor_ = color;
  peerNeedsUpdate();
}

bool UISearchBar::becomeFirstResponder() {
  if (isFirstResponder()) return true;
  if (!UIView::becomeFirstResponder()) return false;
  if (const auto delegate = delegate_.lock()) delegate->searchBarTextDidBeginEditing(*this);
  return true;
}

void UISearchBar::didMoveToWindow() {
  UIView::didMoveToWindow();
  if (window()) return;
  if (const auto delegate = delegate_.lock()) delegate->searchBarDidLeaveWindow(*this);
}

CGSize UISearchBar::sizeThatFits(CGSize size) { return {size.width, standardHeight()}; }

CGSize UISearchBar::intrinsicContentSize() { return {UIViewNoIntrinsicMetric, standardHeight()}; }

void UISearchBar::userDidChangeText(std::string text) {
  if (text_ == text) return;
  const auto keepsAlive = weak_from_this().lock();
  text_ = std::move(text);
  peerNeedsUpdate();
  if (const auto delegate = delegate_.lock()) delegate->searchBarTextDidChange(*this);
}

void UISearchBar::userDidCancel() {
  const auto keepsAlive = weak_from_this().lock();
  if (const auto delegate = delegate_.lock()) delegate->searchBarCancelButtonClicked(*this);
}

}  // namespace tasklane

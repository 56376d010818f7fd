#pragma once

#include <functional>
#include <memory>
#include <string>

#include "uikit/views/UIView.h"

namespace tasklane {

class UISearchBar;
/// Hears of what a person does in a search bar. Main thread.
class UISearchBarDelegate {
 public:
  virtual ~UISearchBarDelegate() = default;
  virtual void searchBarTextDidBeginEditing(UISearchBar& searchBar) { (void)searchBar; }
  virtual void searchBarTextDidChange(UISearchBar& searchBar) { (void)searchBar; }
  virtual void searchBarCancelButtonClicked(UISearchBar& searchBar) { (void)searchBar; }
  /// Not on a screen any more.
  virtual void searchBarDidLeaveWindow(UISearchBar& searchBar) { (void)searchBar; }
};

/// A search field across its width, 56 points high, more where the desktop's text size asks for it.
class UISearchBar : public UIView, public UITextInput {
 public:
  explicit UISearchBar(CGRect frame = {});

  const std::string& text() const { return text_; }
  /// Tells nobody.
  void setText(const std::string& text);
  const std::string& placeholder() const { return placeholder_; }
  void setPlaceholder(std::string placeholder);
  void setDelegate(const std::weak_ptr<UISearchBarDelegate>& delegate) { delegate_ = delegate; }
  void setBarTintColor(const std::optional<UIColor>& color);
  const std::optional<UIColor>& barTintColor() const { return barTintColor_; }
  void setTextColor(const std::optional<UIColor>& color);
  const std::optional<UIColor>& textColor() const { return textColor_; }

  bool canBecomeFirstResponder() const override { return true; }
  bool becomeFirstResponder() override;
  void didMoveToWindow() override;
  CGSize sizeThatFits(CGSize size) override;
  CGSize intrinsicContentSize() override;
  UIAccessibilityTraits accessibilityTraits() const override {
    return UIView::accessibilityTraits() | UIAccessibilityTraitSearchField;
  }

  /// A person typed (the backend calls this): stores the text and tells the delegate.
  void userDidChangeText(std::string text);
  /// A person pressed Escape or the field's clear button on an empty field: tells the delegate.
  void userDidCancel();

 private:
  std::string text_, placeholder_;
  std::optional<UIColor> barTintColor_, textColor_;
  std::weak_ptr<UISearchBarDelegate> delegate_;
};

}  // namespace tasklane

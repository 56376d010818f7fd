#pragma once

#include <memory>
#include <string>

#include "uikit/drawing/UIFont.h"
#include "uikit/views/UIScrollView.h"

namespace tasklane {

class UITextView;
/// Hears of what a person does in a text view. Main thread.
class UITextViewDelegate {
 public:
  virtual ~UITextViewDelegate() = default;
  /// A person has changed the text; not called for setText.
  virtual void textViewDidChange(const std::shared_ptr<UITextView>& textView) { (void)textView; }
};

/// A text of several lines that a person edits. The text is UTF-8 with "\n" between lines.
class UITextView : public UIScrollView, public UITextInput {
 public:
  explicit UITextView(CGRect frame = {});

  const std::string& text() const { return text_; }
  void setText(const std::string& text);
  const UIFont& font() const { return font_; }
  void setFont(const UIFont& font);
  const std::optional<UIColor>& textColor() const { return textColor_; }
  void setTextColor(const std::optional<UIColor>& color);
  UIEdgeInsets textContainerInset() const { return textContainerInset_; }
  void setTextContainerInset(UIEdgeInsets inset);
  /// Shown while there is no text.
  const std::string& placeholder() const { return placeholder_; }
  void setPlaceholder(std::string placeholder);
  /// Held weakly.
  void setDelegate(const std::weak_ptr<UITextViewDelegate>& delegate) { delegate_ = delegate; }
  std::shared_ptr<UITextViewDelegate> delegate() const { return delegate_.lock(); }

  /// A person edited the text (the backend calls this): stores it and tells the delegate.
  void userDidChangeText(std::string text);

  /// Where the backend leaves its editor, with undo history, selection and caret, while the view is
  /// on no screen.
  struct EditorPlace {
    std::shared_ptr<void> editor;
  };
  const std::shared_ptr<EditorPlace>& editorPlace() const { return editorPlace_; }

  /// The caret of a person who edits has come to a place (the backend calls this): it is shown.
  void userDidMoveCaret(CGRect caret) { scrollAroundViewToShow(*this, caret); }

  bool canBecomeFirstResponder() const override { return true; }
  CGSize sizeThatFits(CGSize size) override;

 private:
  std::string text_, placeholder_;
  UIFont font_;
  std::optional<UIColor> textColor_;
  UIEdgeInsets textContainerInset_{8, 0, 8, 0};
  std::weak_ptr<UITextViewDelegate> delegate_;
  const std::shared_ptr<EditorPlace> editorPlace_ = std::make_shared<EditorPlace>();
};

}  // namespace tasklane

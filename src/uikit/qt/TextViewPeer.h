#pragma once

#include <memory>

#include "uikit/controls/UITextView.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

class TextViewWidget;

/// A text that a person edits, in a QPlainTextEdit. A program's change of the text is one step of
/// the person's undo history. The editor waits with the view while that is on no screen, so that a
/// person who comes back goes on where they were.
class TextViewPeer : public ViewPeer {
 public:
  explicit TextViewPeer(UITextView& textView);
  ~TextViewPeer() override;
  QWidget* focusTarget() const override { return widget(); }

 protected:
  void apply() override;

 private:
  friend class TextViewWidget;
  void personDidEdit();
  void personDidMoveCaret();
  void showCaret();
  void alignByDirection();
  void applyColors();

  const std::shared_ptr<UITextView::EditorPlace> place_;
  TextViewWidget* const edit_;
  bool applying_ = false, caretMoved_ = false;
};

}  // namespace tasklane::qt

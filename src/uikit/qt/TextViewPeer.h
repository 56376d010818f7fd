#pragma once

#include <string>

#include "uikit/UITextView.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

class TextViewWidget;

/// A text that a person edits, in a QPlainTextEdit. A program's change of the text is one step of
/// the person's undo history.
class TextViewPeer : public ViewPeer {
 public:
  explicit TextViewPeer(UITextView& textView);
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

  TextViewWidget* edit_;
  std::string shown_;  ///< the text that the view and the widget last agreed on
  bool applying_ = false, caretMoved_ = false;
};

}  // namespace tasklane::qt

#pragma once

#include <memory>

#include "uikit/controls/UITextView.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

/// The screen behind the Notes row: one text view that fills it. It keeps no note of its own;
/// whoever hands it out puts the note in and hears of edits as the text view's delegate.
class NoteViewController : public UIViewController {
 public:
  /// Null until the view has loaded.
  const std::shared_ptr<UITextView>& noteTextView() const { return noteTextView_; }

  /// Whether the text view takes the keyboard each time the screen is about to appear.
  bool shouldBeginEditingNoteOnViewWillAppear() const { return shouldBeginEditing_; }
  void setShouldBeginEditingNoteOnViewWillAppear(bool should) { shouldBeginEditing_ = should; }

  void loadView() override;
  void viewWillAppear(bool animated) override;

 private:
  std::shared_ptr<UITextView> noteTextView_;
  bool shouldBeginEditing_ = false;
};

}  // namespace tasklane

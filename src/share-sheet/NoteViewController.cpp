#include "share-sheet/NoteViewController.h"

namespace tasklane {

void NoteViewController::loadView() {
  noteTextView_ = std::make_shared<UITextView>();
  noteTextView_->setBackgroundColor(UIColor::clearColor());
  noteTextView_->setOpaque(false);
  noteTextView_->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleBody));
  noteTextView_->setTextContainerInset({8, 8, 8, 8});
  setView(noteTextView_);
}

void NoteViewController::viewWillAppear(bool animated) {
  UIViewController::viewWillAppear(animated);
  if (shouldBeginEditing_) noteTextView_->becomeFirstResponder();
}

}  // namespace tasklane

#include "foundation/base/NSLog.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSURL.h"
#include "share-sheet/ExtensionStrings.h"
#include "share-sheet/ShareViewController.h"
#include "uikit/base/UIPasteboard.h"
#include "uikit/views/UIAccessibility.h"

namespace tasklane {

namespace {

bool isPicture(const std::string& file) {
  const auto type = UTTypeCreatePreferredIdentifierForTag(
      kUTTagClassFilenameExtension, NSURL::fileURLWithPath(file).pathExtension());
  return type && UTTypeConformsTo(*type, kUTTypeImage);
}

}  // namespace

bool ShareViewController::canPaste(const UIPasteboardContents& contents) const {
  return !contents.empty();
}

/// What is there decides as for a share: files, else a picture, else links, else a text.
void ShareViewController::paste(const UIPasteboardContents& contents) {
  std::vector<std::shared_ptr<NSItemProvider>> pictures;
  for (const auto& file : contents.files) {
    const auto address = NSURL::fileURLWithPath(file);
    if (isPicture(file)) {
      pictures.push_back(NSItemProvider::makeWithContentsOfURL(address));
    } else {
      addToNote(address.absoluteString());
    }
  }
  if (contents.files.empty() && contents.picture)
    pictures.push_back(NSItemProvider::make(contents.picture, kUTTypeImage));
  if (!pictures.empty()) addPictures(pictures);
  if (!pictures.empty() || !contents.files.empty()) return;
  if (contents.hasPicture && contents.links.empty() && contents.text.empty()) {
    const auto& fault = contents.pictureFault;
    NSLog("The picture cannot be taken" + (fault ? ": " + fault->description : "") + ".");
    return UIAccessibilityPostAnnouncement(extensionString("Could not be taken"));
  }
  for (const auto& link : contents.links) {
    if (contentText().empty() && !link.title.empty()) {
      textView()->setText(link.title);
      textViewDidChange(textView());
    }
    addToNote(link.address);
  }
  if (contents.links.empty()) addToNote(contents.text);
}

void ShareViewController::addPictures(
    const std::vector<std::shared_ptr<NSItemProvider>>& providers) {
  for (const auto& provider : providers) loadPhoto(provider, kUTTypeImage, announcePhoto());
  showPhotos();
  UIAccessibilityPostAnnouncement(extensionString("%@ photos added", providers.size()));
}

/// As one step that the note's editor can undo.
void ShareViewController::addToNote(const std::string& text) {
  if (!noteText_.empty() && !noteText_.ends_with('\n')) noteText_ += "\n";
  noteText_ += text;
  if (noteController_) noteController_->noteTextView()->setText(noteText_);
  showNoteMark(*notesConfigItem());
  UIAccessibilityPostAnnouncement(extensionString("Added to the note"));
}

}  // namespace tasklane

#include <algorithm>

#include "foundation/base/NSLog.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSURL.h"
#include "share-sheet/ExtensionStrings.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

namespace {

/// A text behind what is there, unless that is the same: who shares a page again after a failure
/// restores the same entry.
std::string joined(const std::string& earlier, const std::string& later) {
  if (earlier.empty() || earlier == later) return later;
  return later.empty() ? earlier : earlier + "\n" + later;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

void ShareViewController::sheetWillOpen() {
  offeredDraft_ = Draft::youngest();
  updateNotice();
}

void ShareViewController::didFailToPost() {
  NSLog("It is not saved: " + postError()->description + ".");
  const auto kept = keepDraft();
  couldNotKeep_ = !kept;
  if (!kept) NSLog("It could not be kept for later either: " + kept.error().description + ".");
  updateNotice();
}

bool ShareViewController::shouldCancel() {
  const bool hasBeenSaid = couldNotKeep_;
  couldNotKeep_ = !keepDraft();
  updateNotice();
  return !couldNotKeep_ || hasBeenSaid;
}

void ShareViewController::willAbandon() {
  const auto kept = keepDraft();
  if (!kept) NSLog("What was entered is lost: " + kept.error().description + ".");
}

Result<void> ShareViewController::keepDraft() {
  if (!draft_) {
    auto made = Draft::make();
    if (!made) return made.error();
    draft_ = std::move(made).value();
  }
  const auto choice = [](const SLComposeSheetConfigurationItem& row) {
    const std::string name = row.value().value_or("");
    return name.empty() ? std::nullopt : std::optional(name);
  };
  std::vector<std::string> paths;
  for (const auto& name : writtenFiles())
    paths.push_back(TLXExternalAction::sharedAttachmentPath() + "/" + name);
  return draft_->keep(
      {contentText(), noteText_, choice(*projectConfigItem()), choice(*contextConfigItem()), {}},
      paths);
}

void ShareViewController::restoreDraft() {
  if (!offeredDraft_) return;
  draft_ = std::move(offeredDraft_);
  const Draft::Contents& contents = draft_->contents();
  textView()->setText(joined(contents.title, contentText()));
  textViewDidChange(textView());
  noteText_ = joined(contents.note, noteText_);
  showNoteMark(*notesConfigItem());
  if (contents.project) projectConfigItem()->setValue(contents.project);
  if (contents.context) contextConfigItem()->setValue(contents.context);
  for (const auto& name : contents.attachments) {
    auto load = announcePhoto();
    load.draftFile = draft_->pathOfAttachment(name);
    loadPhoto(NSItemProvider::makeWithContentsOfURL(NSURL::fileURLWithPath(load.draftFile)),
              kUTTypeImage, load);
  }
  showPhotos();
  sayWhatIsGone();
  updateNotice();
}

void ShareViewController::discardDraft() {
  if (offeredDraft_) offeredDraft_->remove();
  offeredDraft_ = Draft::youngest();
  updateNotice();
}

void ShareViewController::updateNotice() {
  SLComposeNotice notice;
  const auto say = [&](const std::string& text) {
    notice.text += (notice.text.empty() ? "" : "\n") + text;
  };
  if (postError() && couldNotKeep_) {
    say(
        extensionString("This could be neither saved nor kept. Make room on the disk and save "
                        "again; Cancel discards it."));
  } else if (postError()) {
    say(extensionString(postError()->kind == NSError::Kind::Busy
                            ? "Another program is using the list. Save again, or close: this will "
                              "be offered again next time."
                            : "This could not be saved. Save again, or close: it will be offered "
                              "again next time."));
  }
  const auto lost = std::count_if(photos_.begin(), photos_.end(), [](const auto& photo) {
    return photo->state == SLComposeThumbnail::State::Failed;
  });
  if (lost > 0)
    say(extensionString("%@ photos could not be taken", static_cast<std::size_t>(lost)));
  if (offeredDraft_ && !postError()) {
    const auto& contents = offeredDraft_->contents();
    const std::string name = firstLine(contents.title.empty() ? contents.note : contents.title);
    say(stringWithFormat(extensionString("There is an unfinished entry: %@"), {name}));
    const auto weakSheet = std::weak_ptr<NSObject>(shared_from_this());
    const auto performing = [weakSheet](void (ShareViewController::*action)()) {
      return [weakSheet, action] {
        if (const auto sheet = std::dynamic_pointer_cast<ShareViewController>(weakSheet.lock()))
          (sheet.get()->*action)();
      };
    };
    notice.actions = {{extensionString("Restore"), performing(&ShareViewController::restoreDraft)},
                      {extensionString("Discard"), performing(&ShareViewController::discardDraft)}};
  }
  setNotice(notice.text.empty() ? std::nullopt : std::optional(std::move(notice)));
}

}  // namespace tasklane

#include "share-sheet/ShareViewController.h"

#include <set>
#include <utility>

#include "appearance/TasklaneAppearance.h"
#include "foundation/base/NSClassFromString.h"
#include "foundation/base/NSLog.h"
#include "foundation/files/NSFileManager.h"
#include "share-sheet/ConfigurationItemHelper.h"
#include "share-sheet/ExtensionStrings.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalAction.h"
#include "uikit/navigation/UINavigationBar.h"
#include "uikit/views/UIBarButtonItem.h"
#include "view-utilities/UIView+TasklaneExtensions.h"

namespace tasklane {

namespace {

void (*g_savedHandler)() = nullptr;

/// A row holds a name; only when the item is posted it becomes an identifier, so that a project
/// that has gone from the catalogue meanwhile drops out of the item.
void addChoice(PropertyListDictionary& info, const SLComposeSheetConfigurationItem& row,
               std::optional<std::string> (*identifierForName)(const std::string&),
               const std::string& key) {
  const std::string name = row.value().value_or("");
  if (name.empty()) return;
  const auto identifier = identifierForName(name);
  if (!identifier) return;
  info.set(key, *identifier);
  info.set(key + "Name", name);
}

bool isWaitInVain(const Result<void>& outcome) {
  return !outcome && (outcome.error().kind == NSError::Kind::Busy ||
                      outcome.error().kind == NSError::Kind::Interrupted);
}

}  // namespace

ShareViewController::ShareViewController() {
  // The sheet always wears the default palette, whatever the main application has chosen.
  static const bool once = (TasklaneAppearance::setCurrentPalette(0), true);
  (void)once;
}

void ShareViewController::registerPrincipalClass() {
  registerClass("ShareViewController", [] { return std::make_shared<ShareViewController>(); });
}

void ShareViewController::setSavedHandler(void (*handler)()) { g_savedHandler = handler; }

void ShareViewController::viewDidLoad() {
  SLComposeServiceViewController::viewDidLoad();
  setTitle("Tasklane");
  if (const auto post = postItem()) post->setTitle(extensionString("Save"));
  if (!initialText_.empty()) textView()->setText(initialText_);
  followCatalogue();
}

void ShareViewController::viewWillAppear(bool animated) {
  // Not sooner: a sheet that is posted without being shown needs no palette.
  if (!std::exchange(wearsPalette_, true)) wearPalette();
  SLComposeServiceViewController::viewWillAppear(animated);
}

void ShareViewController::followCatalogue() {
  const auto weakSheet = std::weak_ptr<NSObject>(shared_from_this());
  // Of any presenter: asking for the catalogue's would read it before it is needed.
  catalogueObservation_ = NSNotificationCenter::defaultCenter().addObserver(
      TLXPlistPresenterDidChangeNotification, nullptr, [weakSheet](const NSNotification&) {
        if (const auto sheet = std::dynamic_pointer_cast<ShareViewController>(weakSheet.lock()))
          sheet->sayWhatIsGone();
      });
}

void ShareViewController::sayWhatIsGone() {
  const auto look = [](SLComposeSheetConfigurationItem& row, auto identifierForName) {
    const std::string name = row.value().value_or("");
    const bool isGone = !name.empty() && !identifierForName(name);
    row.setRemark(
        isGone ? std::optional(stringWithFormat(extensionString("%@ (no longer there)"), {name}))
               : std::nullopt);
  };
  look(*projectConfigItem(), TLXContainers::uniqueIDForProjectNamed);
  look(*contextConfigItem(), TLXContainers::uniqueIDForContextNamed);
}

void ShareViewController::wearPalette() {
  const auto& palette = TasklaneAppearance::currentAppearance();
  setPlaceholder(extensionString("Title"));
  // The platform's tint is too light for text on the bar.
  view()->setTintColor(palette.ProjectsColor());
  setColors({.background = palette.BackgroundColor(),
             .text = palette.TitleTextColor(),
             .secondaryText = palette.MetadataTextColor(),
             .separator = palette.SeparatorColor(),
             .selection = palette.StandardPlainTableCellSelectionColor()});
}

std::shared_ptr<UIBarButtonItem> ShareViewController::postItem() {
  const auto bar = _findNavigationBarInView(*view());
  const auto item = bar ? bar->topItem() : nullptr;
  return item ? item->rightBarButtonItem() : nullptr;
}

std::shared_ptr<UINavigationBar> ShareViewController::_findNavigationBarInView(const UIView& view) {
  for (const auto& subview : view.subviews()) {
    if (auto bar = std::dynamic_pointer_cast<UINavigationBar>(subview)) return bar;
    if (auto bar = _findNavigationBarInView(*subview)) return bar;
  }
  return nullptr;
}

void ShareViewController::didSelectPost() {
  queueItem(attachmentFiles_);
  SLComposeServiceViewController::didSelectPost();
}

Result<void> ShareViewController::postContent() {
  const auto& queue = TLXExternalAction::presenter();
  if (!queue)
    return NSError{NSError::Kind::NotPermitted, "there is no folder for the shared files"};
  // Making the presenter, as the first Save does, has waited for the lock already.
  if (!std::exchange(hasAskedForQueue_, true) && isWaitInVain(queue->lastReading()))
    return queue->lastReading();
  queueItem(writtenFiles());
  if (!queue->lastChange()) return queue->lastChange();
  if (g_savedHandler) g_savedHandler();
  if (draft_) draft_->remove();
  SLComposeServiceViewController::didSelectPost();
  return {};
}

PropertyList ShareViewController::newItemInfo(const std::vector<std::string>& attachments) {
  PropertyListDictionary info;
  // A sheet that was not shown has no text area to be filled first, and no rows where none was
  // asked for: making them takes longer than the rest.
  info.set("title", isViewLoaded() ? contentText() : initialText_);
  if (!configItems_.empty()) {
    addChoice(info, *projectConfigItem(), TLXContainers::uniqueIDForProjectNamed, "project");
    addChoice(info, *contextConfigItem(), TLXContainers::uniqueIDForContextNamed, "context");
  }
  if (!attachments.empty()) {
    info.set("attachments", PropertyList::Array(attachments.begin(), attachments.end()));
  }
  if (!noteText_.empty()) info.set("notes", noteText_);
  return info;
}

void ShareViewController::newItemWasQueued() {
  if (hold_) hold_->wereQueued(attachmentFiles_);
}

void ShareViewController::queueItem(const std::vector<std::string>& attachments) {
  TLXExternalAction::newItemWithInfo(newItemInfo(attachments));
  const auto& queue = TLXExternalAction::presenter();
  if (hold_ && queue && queue->lastChange()) hold_->wereQueued(attachments);
}

std::vector<std::string> ShareViewController::writtenFiles() const {
  auto files = attachmentFiles_;
  // A name that a photo left unwritten may have become another's.
  std::set<std::string> seen;
  std::erase_if(files, [&](const std::string& name) {
    return unwrittenFiles_.contains(name) || !seen.insert(name).second;
  });
  return files;
}

void ShareViewController::didSelectCancel() {
  for (const auto& name : attachmentFiles_) {
    if (unwrittenFiles_.contains(name)) continue;
    // Asked for only now: a sheet without attachments leaves the folder to whoever needs it.
    const std::string& folder = TLXExternalAction::sharedAttachmentPath();
    (void)NSFileManager::defaultManager().removeItemAtPath(folder + "/" + name);
  }
  attachmentFiles_.clear();
  unwrittenFiles_.clear();
  SLComposeServiceViewController::didSelectCancel();
}

/// That there is a note, never the note itself.
void ShareViewController::showNoteMark(SLComposeSheetConfigurationItem& row) const {
  row.setValue(noteText_.empty() ? "" : "...");
}

std::shared_ptr<NoteViewController> ShareViewController::noteController() {
  if (!noteController_) {
    noteController_ = std::make_shared<NoteViewController>();
    noteController_->setTitle(extensionString("Notes"));
    noteController_->loadViewIfNeeded();
    noteController_->noteTextView()->setDelegate(sharedFrom(this));
    noteController_->noteTextView()->setAccessibilityLabel(extensionString("Notes"));
  }
  noteController_->noteTextView()->setText(noteText_);
  return noteController_;
}

void ShareViewController::textViewDidChange(const std::shared_ptr<UITextView>& textView) {
  if (!noteController_ || textView != noteController_->noteTextView()) {
    SLComposeServiceViewController::textViewDidChange(textView);
    return;
  }
  noteText_ = textView->text();
  showNoteMark(*notesConfigItem());
}

std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>>
ShareViewController::configurationItems() {
  if (configItems_.empty()) {
    configItems_ = {makeNotesItem(), makePickerItem("Project", true),
                    makePickerItem("Context", false)};
  }
  return configItems_;
}

std::shared_ptr<SLComposeSheetConfigurationItem> ShareViewController::makeNotesItem() {
  auto item = std::make_shared<SLComposeSheetConfigurationItem>();
  item->setTitle(extensionString("Notes"));
  showNoteMark(*item);
  const auto weakSheet = std::weak_ptr<NSObject>(shared_from_this());
  item->setTapHandler([weakSheet] {
    const auto sheet = std::dynamic_pointer_cast<ShareViewController>(weakSheet.lock());
    if (!sheet) return;
    // The note takes the keyboard at once only where it was in use for a text already.
    const auto responder = findFirstResponderStartingAtView(sheet->view());
    const bool editing = dynamic_cast<UITextInput*>(responder.get()) != nullptr;
    const auto editor = sheet->noteController();
    editor->setShouldBeginEditingNoteOnViewWillAppear(editing);
    sheet->pushConfigurationViewController(editor);
  });
  return item;
}

std::shared_ptr<SLComposeSheetConfigurationItem> ShareViewController::makePickerItem(
    const std::string& titleKey, bool pickProjects) {
  auto item = std::make_shared<SLComposeSheetConfigurationItem>();
  item->setTitle(extensionString(titleKey));
  item->setValue("");
  const auto helper = std::make_shared<ConfigurationItemHelper>();
  helper->setConfigurationItem(item);
  helper->setPickProjects(pickProjects);
  const auto weakSheet = std::weak_ptr<NSObject>(shared_from_this());
  item->setTapHandler([weakSheet, helper] {
    const auto sheet = std::dynamic_pointer_cast<ShareViewController>(weakSheet.lock());
    if (sheet) sheet->pushConfigurationViewController(helper->pickerController());
  });
  return item;
}

std::shared_ptr<SLComposeSheetConfigurationItem> ShareViewController::notesConfigItem() {
  return configurationItems().at(0);
}

std::shared_ptr<SLComposeSheetConfigurationItem> ShareViewController::projectConfigItem() {
  return configurationItems().at(1);
}

std::shared_ptr<SLComposeSheetConfigurationItem> ShareViewController::contextConfigItem() {
  return configurationItems().at(2);
}

}  // namespace tasklane

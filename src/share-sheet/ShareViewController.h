#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "share-sheet/AttachmentFile.h"
#include "share-sheet/NoteViewController.h"
#include "uikit/SLComposeServiceViewController.h"

namespace tasklane {

class UIBarButtonItem;
class UINavigationBar;

/// The quick-entry sheet, the extension's principal class: takes in what is shared, has it edited,
/// and queues a new item for the main application. It lives for one request; everything runs on the
/// main thread.
class ShareViewController : public SLComposeServiceViewController {
 public:
  /// Selects the default palette, once per process.
  ShareViewController();

  /// Makes the class known by its name, for the extension's Info.plist. Call before the extension
  /// is run.
  static void registerPrincipalClass();

  void beginRequestWithExtensionContext(
      const std::shared_ptr<NSExtensionContext>& context) override;
  void viewDidLoad() override;
  bool isContentValid() override { return true; }
  void didSelectPost() override;
  void didSelectCancel() override;
  void textViewDidChange(const std::shared_ptr<UITextView>& textView) override;
  /// Notes, Project and Context, made on first use; the same three rows ever after.
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() override;

  /// The bar's right-hand button, or null without a bar.
  std::shared_ptr<UIBarButtonItem> postItem();
  /// The first navigation bar below a view, depth first.
  static std::shared_ptr<UINavigationBar> _findNavigationBarInView(const UIView& view);

  std::shared_ptr<SLComposeSheetConfigurationItem> notesConfigItem();
  std::shared_ptr<SLComposeSheetConfigurationItem> projectConfigItem();
  std::shared_ptr<SLComposeSheetConfigurationItem> contextConfigItem();

  /// What fills the text area at first: the titles of what is shared.
  const std::string& initialText() const { return initialText_; }
  void setInitialText(std::string text) { initialText_ = std::move(text); }
  const std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>>& configItems() const {
    return configItems_;
  }
  void setConfigItems(std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> items) {
    configItems_ = std::move(items);
  }
  /// Names of the files that this request wrote into the shared attachment folder.
  const std::vector<std::string>& attachmentFiles() const { return attachmentFiles_; }
  void setAttachmentFiles(std::vector<std::string> names) { attachmentFiles_ = std::move(names); }
  /// Whether every file of attachmentFiles() could be made; the console says what could not.
  bool allAttachmentsWritten() const { return allAttachmentsWritten_; }
  const std::string& noteText() const { return noteText_; }
  void setNoteText(std::string text) { noteText_ = std::move(text); }
  /// The note editor, made on first use; each call loads the present note into it.
  std::shared_ptr<NoteViewController> noteController();
  void setNoteController(const std::shared_ptr<NoteViewController>& controller) {
    noteController_ = controller;
  }

  // Intake of one attachment (ShareViewController+Intake.cpp). Each starts a load and returns; the
  // result is applied on the main queue.
  using FallbackHandler = std::function<void(const std::shared_ptr<NSItemProvider>& provider)>;
  void _addWebInfoFromProvider(const std::shared_ptr<NSItemProvider>& provider);
  /// A file address, or none, goes to the fallback, on the loading thread.
  void _addURLFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                           FallbackHandler fallbackHandler);
  void _addImageAttachmentFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                                       const std::string& withType);
  void _addTextFileAttachmentFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                                          const std::string& withType);

 private:
  void addProvider(const std::shared_ptr<NSItemProvider>& provider);
  void attach(const AttachmentFile::Namer& name, AttachmentFile& file);
  void showThumbnail(const std::shared_ptr<UIImage>& thumbnail);
  void wearPalette();
  std::shared_ptr<SLComposeSheetConfigurationItem> makeNotesItem();
  std::shared_ptr<SLComposeSheetConfigurationItem> makePickerItem(const std::string& titleKey,
                                                                  bool pickProjects);

  std::string initialText_;
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configItems_;
  std::vector<std::string> attachmentFiles_;
  /// Those of attachmentFiles_ that have no file of ours behind them: another process may use the
  /// name.
  std::set<std::string> unwrittenFiles_;
  bool allAttachmentsWritten_ = true;
  std::vector<std::shared_ptr<UIImage>> thumbnails_;
  std::string noteText_;
  std::shared_ptr<NoteViewController> noteController_;
};

}  // namespace tasklane

#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "foundation/events/NSNotificationCenter.h"
#include "share-sheet/AttachmentFile.h"
#include "share-sheet/Draft.h"
#include "share-sheet/NoteViewController.h"
#include "uikit/compose-sheet/SLComposeServiceViewController.h"

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
  /// Called as soon as an item is on the disk, for a program whose end depends on it.
  static void setSavedHandler(void (*handler)());

  void beginRequestWithExtensionContext(
      const std::shared_ptr<NSExtensionContext>& context) override;
  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  bool isContentValid() override { return true; }
  void didSelectPost() override;
  void didSelectCancel() override;
  void textViewDidChange(const std::shared_ptr<UITextView>& textView) override;
  /// Notes, Project and Context, made on first use; the same three rows ever after.
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() override;

  /// The new item that didSelectPost() queues, for a program that queues several as one change;
  /// and that it has done so.
  PropertyList newItemInfo() { return newItemInfo(attachmentFiles_); }
  void newItemWasQueued();

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
  /// Why attachments could not be taken, each as a sentence; a sheet in a window shows it.
  const std::vector<NSError>& attachmentFailures() const { return attachmentFailures_; }
  /// For a sheet that nobody looks at: no small pictures are made. Before the request begins.
  void setShowsThumbnails(bool shows) { showsThumbnails_ = shows; }
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
                           const FallbackHandler& fallbackHandler);
  void _addImageAttachmentFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                                       const std::string& withType);
  void _addTextFileAttachmentFromProvider(const std::shared_ptr<NSItemProvider>& provider,
                                          const std::string& withType);

  /// Offers the youngest draft, if there is one.
  void sheetWillOpen() override;
  bool isContentLoading() const override { return *outstandingLoads_ > 0; }

  /// Texts, links and pictures, as if they had been shared with the rest; of other files their
  /// addresses.
  bool canPaste(const UIPasteboardContents& contents) const override;
  void paste(const UIPasteboardContents& contents) override;

 protected:
  /// Queues the item without the names of files that could not be written, and completes the
  /// request once it is on the disk.
  Result<void> postContent() override;
  void didFailToPost() override;
  bool shouldCancel() override;
  void willAbandon() override;

 private:
  /// A load that is under way. Any thread.
  struct Load {
    std::weak_ptr<NSObject> sheet;
    std::shared_ptr<std::atomic<int>> outstanding;
    /// Ends it, once, on the main thread, with what is to be done to the sheet if it is still
    /// there.
    void finish(std::function<void(ShareViewController& sheet)> apply = {}) const;
    /// The same where no address came: one that there was, and could not be had, is a failure.
    void finishWithoutAddress(const std::optional<NSError>& error) const;
  };
  struct PhotoLoad : Load {
    std::shared_ptr<SLComposeThumbnail> place;
    std::string folder;
    std::string draftFile;  ///< the attachment of a draft that the photo is, else empty
    bool wantsThumbnail = true;
  };
  struct LoadedPhoto;
  Load beginLoad();
  void takeItems(const NSExtensionContext::InputItems& items);
  void takeLateItems(const NSExtensionContext::InputItems& items);
  void addProvider(const std::shared_ptr<NSItemProvider>& provider);
  void addURL(const std::shared_ptr<NSItemProvider>& provider,
              const std::shared_ptr<SLComposeThumbnail>& place,
              const FallbackHandler& fallbackHandler);
  PhotoLoad announcePhoto();
  static void loadPhoto(const std::shared_ptr<NSItemProvider>& provider, const std::string& type,
                        const PhotoLoad& load);
  void takePhoto(SLComposeThumbnail& place, LoadedPhoto& photo);
  void addPictures(const std::vector<std::shared_ptr<NSItemProvider>>& providers);
  void addToNote(const std::string& text);
  bool attach(const AttachmentFile::Namer& name, AttachmentFile& file);
  void showPhotos();
  void showNoteMark(SLComposeSheetConfigurationItem& row) const;
  void wearPalette();
  PropertyList newItemInfo(const std::vector<std::string>& attachments);
  void queueItem(const std::vector<std::string>& attachments);
  std::vector<std::string> writtenFiles() const;
  void followCatalogue();
  void sayWhatIsGone();
  // Drafts (ShareViewController+Drafts.cpp).
  Result<void> keepDraft();
  void restoreDraft();
  void discardDraft();
  void updateNotice();
  std::shared_ptr<SLComposeSheetConfigurationItem> makeNotesItem();
  std::shared_ptr<SLComposeSheetConfigurationItem> makePickerItem(const std::string& titleKey,
                                                                  bool pickProjects);

  std::string initialText_;
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configItems_;
  std::vector<std::string> attachmentFiles_;
  /// Those of attachmentFiles_ that have no file of ours behind them: another process may use the
  /// name.
  std::set<std::string> unwrittenFiles_;
  std::optional<AttachmentHold> hold_;
  std::vector<NSError> attachmentFailures_;
  bool hasAskedForQueue_ = false;
  std::vector<std::shared_ptr<SLComposeThumbnail>> photos_;
  std::shared_ptr<std::atomic<int>> outstandingLoads_ = std::make_shared<std::atomic<int>>(0);
  bool showsThumbnails_ = true;
  bool wearsPalette_ = false;
  std::string noteText_;
  std::shared_ptr<NoteViewController> noteController_;
  NSNotificationCenter::Token catalogueObservation_;
  /// This entry's, while it is not saved: one that was restored, or kept after a Save that failed.
  std::unique_ptr<Draft> draft_;
  std::unique_ptr<Draft> offeredDraft_;
  bool couldNotKeep_ = false;
};

}  // namespace tasklane

#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/extension/NSExtensionContext.h"
#include "uikit/compose-sheet/SLComposeNotice.h"
#include "uikit/compose-sheet/SLComposeSheetConfigurationItem.h"
#include "uikit/compose-sheet/SLComposeThumbnailsView.h"
#include "uikit/controls/UITextView.h"
#include "uikit/navigation/UINavigationController.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

/// The compose sheet: a bar with Cancel and the post button, a text area with thumbnails of what is
/// shared beside it, and configuration rows. Its view holds a navigation controller's view, so that
/// the rows' screens slide over the sheet's content. Subclasses fill and post it. Main thread.
class SLComposeServiceViewController : public UIViewController,
                                       public NSExtensionRequestHandling,
                                       public UITextViewDelegate {
 public:
  /// What the sheet is painted in; none is the platform's own.
  struct Colors {
    std::optional<UIColor> background, text, secondaryText, separator, selection;
  };

  SLComposeServiceViewController();
  ~SLComposeServiceViewController() override;

  void beginRequestWithExtensionContext(
      const std::shared_ptr<NSExtensionContext>& context) override;

  /// The text area; asking for it loads the view.
  std::shared_ptr<UITextView> textView();
  std::string contentText();
  const std::string& placeholder() const { return placeholder_; }
  void setPlaceholder(std::string placeholder);

  /// Whether the post button is enabled; asked after each change of the text and by
  /// validateContent().
  virtual bool isContentValid() { return true; }
  void validateContent();
  /// The base completes the request.
  virtual void didSelectPost();
  /// The base cancels the request.
  virtual void didSelectCancel();
  /// The post button and Ctrl+Return: posts valid content. While something loads it first waits for
  /// that, with a notice; pressed again, but not by a double click, it goes without. The request
  /// ends once, by the first of post(), cancel() and abandon(); later calls do nothing.
  void post();
  /// The Cancel button, Escape, and closing the window. While a post is under way it ends the wait
  /// for a lock (Interruption.h), and the process with it.
  void cancel();
  /// Cancels without asking: the process has to end.
  void abandon();
  /// Why the last post() could not be carried out; none after one that was, and before the first.
  const std::optional<NSError>& postError() const { return postError_; }
  /// To be called many times a second while the main thread waits for a lock of others: the sheet
  /// says so, at once where it is a post that waits, which the answer tells, and else when it has
  /// lasted a while.
  bool lockIsAwaited();
  virtual std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() {
    return {};
  }
  void pushConfigurationViewController(const std::shared_ptr<UIViewController>& controller);

  /// The places of what is shared, beside the text.
  void setThumbnails(const std::vector<SLComposeThumbnail>& thumbnails);
  /// A message above the text; a screen reader says it. The sheet's own while post() waits takes
  /// precedence.
  void setNotice(std::optional<SLComposeNotice> notice);
  void setColors(const Colors& colors);

  void setTitle(const std::string& title) override;
  void loadView() override;
  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  void viewDidLayoutSubviews() override;
  void textViewDidChange(const std::shared_ptr<UITextView>& textView) override;
  bool accessibilityPerformEscape() override;
  /// The window is about to be shown to a person for the first time.
  virtual void sheetWillOpen() {}
  /// Presses the post button.
  bool performPrimaryAction() override;
  std::shared_ptr<UIView> preferredFocusView() override;

 protected:
  /// Whether what was shared is not all there yet. A subclass for which this is ever true calls
  /// contentDidLoad() when it ceases to be.
  virtual bool isContentLoading() const { return false; }
  void contentDidLoad();
  /// What post() does. The base calls didSelectPost(). After an error the sheet stays open.
  virtual Result<void> postContent();
  /// A post() has failed; postError() says why.
  virtual void didFailToPost() {}
  /// Asked before a person's cancel() after a post() that failed; false keeps the sheet open.
  virtual bool shouldCancel() { return true; }
  /// The process has to end, after a post() that failed or was not carried out.
  virtual void willAbandon() {}

 private:
  class ContentController;
  enum class Posting { No, AwaitsContent, UnderWay, AwaitsLock };
  void updatePreferredSize();
  void showNotice();
  void setPosting(Posting posting);
  void postNow();
  void end();
  void goOnAfterLock();
  std::shared_ptr<NSExtensionContext> extensionContext_;
  std::shared_ptr<UINavigationController> navigation_;
  std::shared_ptr<ContentController> content_;
  std::string placeholder_;
  std::optional<SLComposeNotice> notice_;
  std::string shownNotice_;
  std::optional<NSError> postError_;
  std::chrono::steady_clock::time_point awaitedSince_;
  /// Since when something else than a post has kept the main thread waiting for a lock.
  std::optional<std::chrono::steady_clock::time_point> heldUpSince_;
  bool saysHeldUp_ = false;
  CGFloat measuredWidth_ = 0;
  Posting posting_ = Posting::No;
  bool cancelled_ = false, ended_ = false;
};

}  // namespace tasklane

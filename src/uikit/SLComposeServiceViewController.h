#pragma once

#include <memory>
#include <string>
#include <vector>

#include "foundation/NSExtensionContext.h"
#include "uikit/SLComposeSheetConfigurationItem.h"
#include "uikit/UINavigationController.h"
#include "uikit/UITextView.h"
#include "uikit/UIViewController.h"

namespace tasklane {

/// The compose sheet: a bar with Cancel and the post button, a text area with thumbnails of what is
/// shared beside it, and configuration rows. Its view holds a navigation controller's view, so that
/// the rows' screens slide over the sheet's content. Subclasses fill and post it. Main thread.
class SLComposeServiceViewController : public UIViewController,
                                       public NSExtensionRequestHandling,
                                       public UITextViewDelegate {
 public:
  SLComposeServiceViewController();

  void beginRequestWithExtensionContext(
      const std::shared_ptr<NSExtensionContext>& context) override;
  const std::shared_ptr<NSExtensionContext>& extensionContext() const { return extensionContext_; }

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
  virtual std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() {
    return {};
  }
  /// Asks for the configuration items again.
  void reloadConfigurationItems();
  void pushConfigurationViewController(const std::shared_ptr<UIViewController>& controller);
  void popConfigurationViewController();

  void setTitle(const std::string& title) override;
  void loadView() override;
  void viewDidLoad() override;
  void textViewDidChange(const std::shared_ptr<UITextView>& textView) override;
  bool accessibilityPerformEscape() override;
  /// Presses the post button.
  bool performPrimaryAction() override;
  std::shared_ptr<UIView> preferredFocusView() override;

 private:
  class ContentController;
  std::shared_ptr<NSExtensionContext> extensionContext_;
  std::shared_ptr<UINavigationController> navigation_;
  std::shared_ptr<ContentController> content_;
  std::string placeholder_;
};

}  // namespace tasklane

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/NSExtensionContext.h"
#include "uikit/SLComposeSheetConfigurationItem.h"
#include "uikit/UIImage.h"
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
  /// What the sheet is painted in; none is the platform's own.
  struct Colors {
    std::optional<UIColor> background, text, secondaryText, separator, selection;
  };

  SLComposeServiceViewController();
  ~SLComposeServiceViewController() override;

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
  /// The post button and Ctrl+Return: posts valid content. The request ends once, by the first of
  /// post() and cancel(); later calls do nothing.
  void post();
  /// The Cancel button, Escape, and closing the window.
  void cancel();
  virtual std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() {
    return {};
  }
  /// Asks for the configuration items again.
  void reloadConfigurationItems();
  void pushConfigurationViewController(const std::shared_ptr<UIViewController>& controller);
  void popConfigurationViewController();

  /// Small pictures of what is shared, beside the text; four at most, the last with the number of
  /// those that have no place. The labels, one for each, are what a screen reader says of them.
  void setThumbnails(const std::vector<std::shared_ptr<UIImage>>& images,
                     const std::vector<std::string>& labels);
  void setColors(const Colors& colors);
  /// The stack of the sheet's own screen and those that its rows push; its bar is the sheet's.
  const std::shared_ptr<UINavigationController>& sheetNavigationController() const {
    return navigation_;
  }

  void setTitle(const std::string& title) override;
  void loadView() override;
  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  void viewDidLayoutSubviews() override;
  void textViewDidChange(const std::shared_ptr<UITextView>& textView) override;
  bool accessibilityPerformEscape() override;
  /// Presses the post button.
  bool performPrimaryAction() override;
  std::shared_ptr<UIView> preferredFocusView() override;

 private:
  class ContentController;
  void updatePreferredSize();
  std::shared_ptr<NSExtensionContext> extensionContext_;
  std::shared_ptr<UINavigationController> navigation_;
  std::shared_ptr<ContentController> content_;
  std::string placeholder_;
  CGFloat measuredWidth_ = 0;
  bool ended_ = false;
};

}  // namespace tasklane

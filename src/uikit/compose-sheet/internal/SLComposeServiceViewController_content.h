#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/compose-sheet/SLComposeNotice.h"
#include "uikit/compose-sheet/SLComposeServiceViewController.h"
#include "uikit/compose-sheet/SLComposeThumbnailsView.h"
#include "uikit/tables/UITableView.h"

namespace tasklane {

/// The sheet's own screen: a notice, text area and thumbnails, under them the rows. Where it is
/// higher than its place it scrolls.
class SLComposeServiceViewController::ContentController : public UIViewController,
                                                          public UITableViewDataSource,
                                                          public UITableViewDelegate {
 public:
  ContentController();

  void setSheet(const std::weak_ptr<SLComposeServiceViewController>& sheet) { sheet_ = sheet; }
  const std::shared_ptr<UITextView>& textView() const { return textView_; }
  void setThumbnails(const std::vector<SLComposeThumbnail>& thumbnails);
  void setNotice(const std::optional<SLComposeNotice>& notice);
  void setColors(const Colors& colors);
  /// How high the screen would like to be at a width.
  CGFloat heightForWidth(CGFloat width);
  void layoutContent();

  void loadView() override;
  void viewWillAppear(bool animated) override;
  std::shared_ptr<UIView> preferredFocusView() override { return textView_; }
  std::size_t numberOfRowsInSection(UITableView& tableView, std::size_t section) override;
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& tableView,
                                                         NSIndexPath indexPath) override;
  void didSelectRowAtIndexPath(UITableView& tableView, NSIndexPath indexPath) override;

 private:
  class ScrollView;
  const std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>>& items();
  CGFloat sideOfThumbnail() const;
  CGFloat widthOfThumbnails() const;
  CGFloat heightOfText(CGFloat width) const;
  CGFloat layoutRows(CGFloat y, CGFloat width);
  void layoutThumbnails(CGFloat y, CGFloat width, bool leftToRight);

  std::weak_ptr<SLComposeServiceViewController> sheet_;
  std::shared_ptr<UITextView> textView_;
  std::shared_ptr<SLComposeNoticeView> notice_;
  std::shared_ptr<SLComposeThumbnailsView> thumbnails_;
  std::shared_ptr<UIView> hairline_;
  std::shared_ptr<UITableView> rows_;
  std::optional<std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>>> items_;
  Colors colors_;
};

}  // namespace tasklane

#pragma once

#include <memory>

#include "uikit/tables/UITableView.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

/// A screen that is one table; it is the table's data source and delegate.
class UITableViewController : public UIViewController,
                              public UITableViewDataSource,
                              public UITableViewDelegate {
 public:
  explicit UITableViewController(UITableViewStyle style);

  /// The table view, which is also the controller's view; asking for it loads it.
  std::shared_ptr<UITableView> tableView();
  virtual void setTableView(const std::shared_ptr<UITableView>& tableView);
  UITableViewStyle style() const { return style_; }

  void loadView() override;
  /// Reloads the table the first time it appears and clears its selection.
  void viewWillAppear(bool animated) override;
  std::shared_ptr<UIView> preferredFocusView() override;

  std::size_t numberOfRowsInSection(UITableView& tableView, std::size_t section) override;
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& tableView,
                                                         NSIndexPath indexPath) override;

 private:
  UITableViewStyle style_;
  bool reloadedOnAppearing_ = false;
};

}  // namespace tasklane

#pragma once

#include <memory>

#include "appearance/TasklaneAppearanceClient.h"
#include "uikit/tables/UITableViewController.h"

namespace tasklane {

/// A table screen in the palette's colours, by the table's style: when its view loads, when its
/// table is replaced and on every change of the appearance, which also reloads the rows. So a
/// subclass reads colours when it fills a cell; one that overrides viewDidLoad, setTableView or
/// tasklaneAppearanceDidChange calls the base first, one that overrides willDisplayHeaderView calls
/// the base to keep the header's colour. Main thread.
class TasklaneAppearanceTableViewController : public UITableViewController,
                                              public TasklaneAppearanceClient {
 public:
  using UITableViewController::UITableViewController;

  void viewDidLoad() override;
  void setTableView(const std::shared_ptr<UITableView>& tableView) override;
  void willDisplayHeaderView(UITableView& tableView, UIView& headerView,
                             std::size_t section) override;
  void tasklaneAppearanceDidChange(const std::shared_ptr<TasklaneAppearance>& appearance) override;

  /// Applies the colours for the table's style; a style that is neither plain nor grouped is left
  /// alone.
  void applyAppearancePropertiesForTableView();
  virtual void applyPlainTableViewAppearanceProperties();
  virtual void applyGroupedTableViewAppearanceProperties();
};

}  // namespace tasklane

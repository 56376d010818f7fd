#include "appearance/TasklaneAppearanceTableViewController.h"

namespace tasklane {

void TasklaneAppearanceTableViewController::viewDidLoad() {
  UITableViewController::viewDidLoad();
  applyAppearancePropertiesForTableView();
}

void TasklaneAppearanceTableViewController::setTableView(
    const std::shared_ptr<UITableView>& tableView) {
  UITableViewController::setTableView(tableView);
  applyAppearancePropertiesForTableView();
}

void TasklaneAppearanceTableViewController::willDisplayHeaderView(UITableView& tableView,
                                                                  UIView& headerView, std::size_t) {
  if (tableView.style() == UITableViewStyle::Plain) return;
  if (auto* header = dynamic_cast<UITableViewHeaderFooterView*>(&headerView))
    header->textLabel()->setTextColor(
        TasklaneAppearance::currentAppearance().StandardGroupedTableSectionHeaderTextColor());
}

void TasklaneAppearanceTableViewController::tasklaneAppearanceDidChange(
    const std::shared_ptr<TasklaneAppearance>& appearance) {
  TasklaneAppearanceClient::tasklaneAppearanceDidChange(appearance);
  applyAppearancePropertiesForTableView();
  tableView()->reloadData();
}

void TasklaneAppearanceTableViewController::applyAppearancePropertiesForTableView() {
  switch (tableView()->style()) {
    case UITableViewStyle::Grouped:
      return applyGroupedTableViewAppearanceProperties();
    case UITableViewStyle::Plain:
      return applyPlainTableViewAppearanceProperties();
  }
}

void TasklaneAppearanceTableViewController::applyPlainTableViewAppearanceProperties() {
  const auto& appearance = TasklaneAppearance::currentAppearance();
  tableView()->setBackgroundColor(appearance.BackgroundColor());
  tableView()->setSeparatorColor(appearance.SeparatorColor());
}

void TasklaneAppearanceTableViewController::applyGroupedTableViewAppearanceProperties() {
  const auto& appearance = TasklaneAppearance::currentAppearance();
  tableView()->setBackgroundColor(appearance.StandardGroupedTableBackgroundColor());
  tableView()->setSeparatorColor(appearance.StandardGroupedTableViewSeparatorColor());
}

}  // namespace tasklane

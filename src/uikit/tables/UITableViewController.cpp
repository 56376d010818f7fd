#include "uikit/tables/UITableViewController.h"

#include "uikit/base/ProgrammingError.h"

namespace tasklane {

UITableViewController::UITableViewController(UITableViewStyle style) : style_(style) {}

std::shared_ptr<UITableView> UITableViewController::tableView() {
  return std::dynamic_pointer_cast<UITableView>(view());
}

void UITableViewController::setTableView(const std::shared_ptr<UITableView>& tableView) {
  setView(tableView);
  if (!tableView) return;
  const auto self = sharedFrom(this);
  if (!tableView->dataSource()) tableView->setDataSource(self);
  if (!tableView->delegate()) tableView->setDelegate(self);
}

void UITableViewController::loadView() {
  setTableView(std::make_shared<UITableView>(CGRect{}, style_));
}

void UITableViewController::viewWillAppear(bool animated) {
  UIViewController::viewWillAppear(animated);
  const auto table = tableView();
  if (!table) return;
  if (!reloadedOnAppearing_) {
    reloadedOnAppearing_ = true;
    table->reloadData();
  }
  if (const auto selected = table->indexPathForSelectedRow()) {
    table->deselectRowAtIndexPath(*selected, animated);
  }
}

std::shared_ptr<UIView> UITableViewController::preferredFocusView() { return tableView(); }

std::size_t UITableViewController::numberOfRowsInSection(UITableView&, std::size_t) { return 0; }

std::shared_ptr<UITableViewCell> UITableViewController::cellForRowAtIndexPath(UITableView&,
                                                                              NSIndexPath) {
  detail::programmingError(className() + " has rows but no cellForRowAtIndexPath");
}

}  // namespace tasklane

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "option-picker/OptionPickerController.h"
#include "uikit/tables/UITableViewCell.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {

// For the pickers' tests.

inline OptionPickerItemList itemsTitled(const std::vector<std::string>& titles) {
  return OptionPickerItem::optionPickerItemsWithTitles(titles);
}

/// A picker in a window on the (headless) screen.
template <class Picker>
struct OnScreen {
  explicit OnScreen(UITableViewStyle style = UITableViewStyle::Plain)
      : picker(std::make_shared<Picker>(style)) {}

  std::shared_ptr<Picker> picker;
  std::shared_ptr<UIWindow> window;

  void show(CGFloat height = 480) {
    window = std::make_shared<UIWindow>(CGRect(0, 0, 320, height));
    window->setRootViewController(picker);
    window->makeKeyAndVisible();
    window->layoutIfNeeded();
    picker->view()->layoutIfNeeded();
  }
  std::shared_ptr<UITableViewCell> cell(std::size_t row, std::size_t section = 0) {
    picker->tableView()->layoutIfNeeded();
    return picker->tableView()->cellForRowAtIndexPath({section, row});
  }
  void choose(std::size_t row, std::size_t section = 0) {
    picker->didSelectRowAtIndexPath(*picker->tableView(), {section, row});
  }
};

}  // namespace tasklane

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "appearance/TasklaneAppearanceTableViewController.h"
#include "foundation/base/TargetAction.h"
#include "foundation/events/NSNotificationCenter.h"
#include "option-picker/OptionPickerGroup.h"

namespace tasklane {

/// A table of choices in sections that marks the chosen one and, when one is chosen, tells the
/// picker's target, then the group's, then the item's, at once and in this order. It never closes
/// itself on a choice.
///
/// Make one with std::make_shared and set it up before its view is used. Main thread.
class OptionPickerController : public TasklaneAppearanceTableViewController {
 public:
  /// Begins with one empty group.
  explicit OptionPickerController(UITableViewStyle style = UITableViewStyle::Plain);

  const OptionPickerGroupList& optionGroups() const { return optionGroups_; }
  /// Stores a copy of the list (of the same groups) and reloads; the very list stored already
  /// changes nothing. The items inside the groups learn of the picker when their group's items are
  /// set next.
  void setOptionGroups(const OptionPickerGroupList& groups);
  std::int64_t numberOfOptionGroups() const;

  // Of the one group; nothing (and NSNotFound) while there is not exactly one.
  OptionPickerItemList items() const;
  virtual void setItems(const OptionPickerItemList& items);
  std::optional<std::string> itemsSectionTitle() const;
  void setItemsSectionTitle(const std::optional<std::string>& title);
  std::int64_t selectedItemIndex() const;
  void setSelectedItemIndex(std::int64_t index);
  std::shared_ptr<OptionPickerItem> selectedItem() const;

  /// Whether the chosen row of each section carries a checkmark; true at first.
  bool showsSelectedItem() const { return showsSelectedItem_; }
  void setShowsSelectedItem(bool shows);
  /// Tint of the icons; colour of the titles too once it has been set, even to black or to none. It
  /// shows when the rows are next drawn.
  const std::optional<UIColor>& optionColor() const { return optionColor_; }
  void setOptionColor(const std::optional<UIColor>& color);

  /// Kept weakly for the picker's clients; the picker does not use it.
  std::shared_ptr<UIViewController> pickerTargetController() const {
    return pickerTargetController_.lock();
  }
  void setPickerTargetController(const std::shared_ptr<UIViewController>& controller) {
    pickerTargetController_ = controller;
  }
  std::shared_ptr<NSObject> target() const { return targetAction_.target(); }
  void setTarget(const std::shared_ptr<NSObject>& target) { targetAction_.setTarget(target); }
  const Action<OptionPickerController>& action() const { return targetAction_.action(); }
  void setAction(Action<OptionPickerController> action) {
    targetAction_.setAction(std::move(action));
  }
  std::int64_t tag() const { return tag_; }
  void setTag(std::int64_t tag) { tag_ = tag; }

  /// The size that shows everything without a limit.
  CGSize idealSize();
  /// What the rows on screen need within a size, in points: never narrower than 200, never higher
  /// than the size.
  CGSize sizeThatFits(CGSize size);

  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;

  std::size_t numberOfSectionsInTableView(UITableView& tableView) override;
  std::size_t numberOfRowsInSection(UITableView& tableView, std::size_t section) override;
  std::optional<std::string> titleForHeaderInSection(UITableView& tableView,
                                                     std::size_t section) override;
  CGFloat estimatedHeightForRowAtIndexPath(UITableView& tableView, NSIndexPath indexPath) override;
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& tableView,
                                                         NSIndexPath indexPath) override;
  void didSelectRowAtIndexPath(UITableView& tableView, NSIndexPath indexPath) override;

 private:
  void _applicationWillResignActive();
  std::shared_ptr<OptionPickerGroup> onlyGroup() const;
  void markSelected(UITableViewCell& cell, UITableView& tableView) const;

  OptionPickerGroupList optionGroups_;
  std::optional<UIColor> optionColor_ = UIColor::blackColor();
  std::weak_ptr<UIViewController> pickerTargetController_;
  TargetAction<OptionPickerController> targetAction_;
  NSNotificationCenter::Token resignActiveObservation_;
  std::int64_t tag_ = 0;
  bool showsSelectedItem_ = true;
  bool hasNonDefaultOptionColor_ = false;
};

}  // namespace tasklane

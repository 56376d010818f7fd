#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSNotFound.h"
#include "foundation/base/TargetAction.h"
#include "option-picker/OptionPickerItem.h"

namespace tasklane {

/// An ordered list of choices with at most one selected: a section of a picker. Where a change must
/// show it has its picker's table reload; without a picker the request is dropped. Main thread.
class OptionPickerGroup : public NSObject {
 public:
  /// A new group with the same picker, a copy of the list (of the same items, whose back references
  /// stay), and the same selection, target, action and tag.
  std::shared_ptr<OptionPickerGroup> copy() const;

  /// The section's header, shown in grouped tables only. Setting what title() answers (the very
  /// object) does nothing; anything else reloads, equal text too.
  const std::optional<std::string>& title() const { return title_; }
  void setTitle(const std::optional<std::string>& title);

  /// Null at first.
  const OptionPickerItemList& items() const { return items_; }
  /// Stores a copy of the list; the very list that items() answers changes nothing. The selection
  /// follows its represented object into the new list, and is lost where that has no equal one. The
  /// items belong to the picker that the group has at this moment; dropped ones to none.
  void setItems(const OptionPickerItemList& items);

  /// NSNotFound means no selection. No range is checked.
  std::int64_t selectedItemIndex() const { return selectedItemIndex_; }
  void setSelectedItemIndex(std::int64_t index);
  /// The item at the selected index, or null without a selection; an index outside the list is a
  /// range error.
  std::shared_ptr<OptionPickerItem> selectedItem() const;
  /// An index outside the list is a range error (std::out_of_range), also where there is no list.
  const std::shared_ptr<OptionPickerItem>& itemAt(std::size_t index) const;
  /// Selects the first item whose represented object equals the given one; none where there is no
  /// such item.
  void selectItemByRepresentedObject(const std::shared_ptr<NSObject>& object);

  std::shared_ptr<OptionPickerController> optionPicker() const {
    return nonretainedOptionPickerController_.lock();
  }
  /// Neither reloads nor passes the picker on to the items.
  void setOptionPicker(const std::shared_ptr<OptionPickerController>& picker) {
    nonretainedOptionPickerController_ = picker;
  }

  std::shared_ptr<NSObject> target() const { return targetAction_.target(); }
  void setTarget(const std::shared_ptr<NSObject>& target) { targetAction_.setTarget(target); }
  const Action<OptionPickerGroup>& action() const { return targetAction_.action(); }
  void setAction(Action<OptionPickerGroup> action) { targetAction_.setAction(std::move(action)); }
  void performAction() { targetAction_.perform(*this); }
  std::int64_t tag() const { return tag_; }
  void setTag(std::int64_t tag) { tag_ = tag; }

 private:
  void reloadPickersTable() const;

  std::optional<std::string> title_;
  OptionPickerItemList items_;
  std::int64_t selectedItemIndex_ = NSNotFound;
  std::weak_ptr<OptionPickerController> nonretainedOptionPickerController_;
  TargetAction<OptionPickerGroup> targetAction_;
  std::int64_t tag_ = 0;
};

/// The sections of a picker, immutable; "the very same list" is identity of this pointer.
using OptionPickerGroupList =
    std::shared_ptr<const std::vector<std::shared_ptr<OptionPickerGroup>>>;

}  // namespace tasklane

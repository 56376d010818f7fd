#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "option-picker/OptionPickerItem.h"

namespace tasklane {

/// Which items of a list a group shows, and in which picker: the back reference of all its items at
/// once. Narrowing a list by a search changes this one object instead of every item. Private to the
/// option model.
struct OptionPickerItem::Membership {
  std::weak_ptr<OptionPickerController> picker;
  /// The group's stored list; none once the group has let its items go. Weak: the list holds the
  /// items, which hold this.
  std::weak_ptr<const OptionPickerItems> shown;
  const std::vector<std::uint32_t>* part = nullptr;
  /// Another group took over an item of the list, so that it must be looked at item by item.
  bool shared = false;

  bool shows(std::uint32_t indexInPool) const {
    return !shown.expired() &&
           (!part || std::binary_search(part->begin(), part->end(), indexInPool));
  }
};

/// The items that a list and its parts share, made so far or still to be made.
struct OptionPickerItems::Pool {
  std::vector<std::shared_ptr<OptionPickerItem>> items;
  Maker make;
  TitleOf titleOf;
  /// What items that are made later belong to.
  std::shared_ptr<OptionPickerItem::Membership> membership;
};

}  // namespace tasklane

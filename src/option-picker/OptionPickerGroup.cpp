#include "option-picker/OptionPickerGroup.h"

#include "option-picker/OptionPickerController.h"
#include "option-picker/OptionPickerMembership.h"

namespace tasklane {

std::shared_ptr<OptionPickerGroup> OptionPickerGroup::copy() const {
  auto copied = std::make_shared<OptionPickerGroup>();
  copied->nonretainedOptionPickerController_ = nonretainedOptionPickerController_;
  copied->title_ = title_;
  if (items_) copied->items_ = std::make_shared<const OptionPickerItems>(*items_);
  copied->selectedItemIndex_ = selectedItemIndex_;
  copied->targetAction_ = targetAction_;
  copied->tag_ = tag_;
  return copied;
}

void OptionPickerGroup::setTitle(const std::optional<std::string>& title) {
  if (&title == &title_) return;
  title_ = title;
  reloadPickersTable();
}

void OptionPickerGroup::setItems(const OptionPickerItemList& items) {
  if (items == items_) return;
  std::shared_ptr<NSObject> chosen;
  if (selectedItemIndex_ != NSNotFound) {
    if (const auto selected = selectedItem()) chosen = selected->representedObject();
  }

  const auto copied = items ? std::make_shared<const OptionPickerItems>(*items) : nullptr;
  const bool samePool =
      membership_ && !membership_->shared && items_ && copied && copied->pool_ == items_->pool_;
  if (samePool) {
    items_ = copied;
    membership_->picker = nonretainedOptionPickerController_;
    membership_->shown = items_;
    membership_->part = items_->part_ ? &items_->indices_ : nullptr;
  } else {
    letGoOfItems();
    takeIn(copied);
  }

  selectItemByRepresentedObject(chosen);
  reloadPickersTable();
}

void OptionPickerGroup::letGoOfItems() {
  if (!items_) return;
  if (membership_) membership_->shown.reset();
  auto& pool = *items_->pool_;
  for (std::size_t position = 0; position < items_->size(); ++position) {
    const auto& item = pool.items[items_->indexInPool(position)];
    if (item) item->membership_ = nullptr;
  }
  if (pool.membership == membership_) pool.membership = nullptr;
  membership_ = nullptr;
}

void OptionPickerGroup::takeIn(const OptionPickerItemList& items) {
  items_ = items;
  if (!items_) return;
  membership_ = std::make_shared<OptionPickerItem::Membership>();
  membership_->picker = nonretainedOptionPickerController_;
  membership_->shown = items_;
  membership_->part = items_->part_ ? &items_->indices_ : nullptr;
  // Items of the pool outside a part that were made before would be met unprepared when the list
  // widens.
  membership_->shared = items_->part_;

  auto& pool = *items_->pool_;
  if (pool.membership) pool.membership->shared = true;
  pool.membership = membership_;
  for (std::size_t position = 0; position < items_->size(); ++position) {
    const std::size_t index = items_->indexInPool(position);
    const auto& item = pool.items[index];
    if (!item) continue;
    if (item->membership_ == membership_) membership_->shared = true;  // listed twice
    if (item->membership_) item->membership_->shared = true;
    item->membership_ = membership_;
    item->indexInPool_ = static_cast<std::uint32_t>(index);
  }
}

void OptionPickerGroup::setSelectedItemIndex(std::int64_t index) {
  if (index == selectedItemIndex_) return;
  selectedItemIndex_ = index;
  reloadPickersTable();
}

std::shared_ptr<OptionPickerItem> OptionPickerGroup::selectedItem() const {
  if (selectedItemIndex_ == NSNotFound) return nullptr;
  static const OptionPickerItems none;
  return (items_ ? *items_ : none).at(static_cast<std::size_t>(selectedItemIndex_));
}

void OptionPickerGroup::selectItemByRepresentedObject(const std::shared_ptr<NSObject>& object) {
  std::int64_t found = NSNotFound;
  if (object && items_) {
    for (std::size_t position = 0; position < items_->size(); ++position) {
      const auto& candidate = items_->at(position)->representedObject();
      if (candidate && candidate->isEqual(object.get())) {
        found = static_cast<std::int64_t>(position);
        break;
      }
    }
  }
  setSelectedItemIndex(found);
}

void OptionPickerGroup::reloadPickersTable() const {
  if (const auto picker = optionPicker()) picker->tableView()->reloadData();
}

}  // namespace tasklane

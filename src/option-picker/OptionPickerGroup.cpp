#include "option-picker/OptionPickerGroup.h"

#include <algorithm>

#include "option-picker/OptionPickerController.h"

namespace tasklane {

namespace {
OptionPickerItemList copyOf(const OptionPickerItemList& list) {
  return list ? std::make_shared<OptionPickerItemList::element_type>(*list) : nullptr;
}
}  // namespace

std::shared_ptr<OptionPickerGroup> OptionPickerGroup::copy() const {
  auto copied = std::make_shared<OptionPickerGroup>();
  copied->nonretainedOptionPickerController_ = nonretainedOptionPickerController_;
  copied->title_ = title_;
  copied->items_ = copyOf(items_);
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

  if (items_) {
    for (const auto& item : *items_) item->optionPicker_.reset();
  }
  items_ = copyOf(items);
  if (items_) {
    for (const auto& item : *items_) item->optionPicker_ = nonretainedOptionPickerController_;
  }

  selectItemByRepresentedObject(chosen);
  reloadPickersTable();
}

void OptionPickerGroup::setSelectedItemIndex(std::int64_t index) {
  if (index == selectedItemIndex_) return;
  selectedItemIndex_ = index;
  reloadPickersTable();
}

std::shared_ptr<OptionPickerItem> OptionPickerGroup::selectedItem() const {
  if (selectedItemIndex_ == NSNotFound) return nullptr;
  return itemAt(static_cast<std::size_t>(selectedItemIndex_));
}

const std::shared_ptr<OptionPickerItem>& OptionPickerGroup::itemAt(std::size_t index) const {
  static const std::vector<std::shared_ptr<OptionPickerItem>> none;
  return (items_ ? *items_ : none).at(index);
}

void OptionPickerGroup::selectItemByRepresentedObject(const std::shared_ptr<NSObject>& object) {
  std::int64_t found = NSNotFound;
  if (object && items_) {
    const auto equal = std::find_if(items_->begin(), items_->end(), [&](const auto& item) {
      const auto& candidate = item->representedObject();
      return candidate && candidate->isEqual(object.get());
    });
    if (equal != items_->end()) found = equal - items_->begin();
  }
  setSelectedItemIndex(found);
}

void OptionPickerGroup::reloadPickersTable() const {
  if (const auto picker = optionPicker()) picker->tableView()->reloadData();
}

}  // namespace tasklane

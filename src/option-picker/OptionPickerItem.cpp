#include "option-picker/OptionPickerItem.h"

#include <algorithm>

#include "option-picker/OptionPickerMembership.h"

namespace tasklane {

namespace {
std::uint64_t titleChanges = 0;
}

OptionPickerItem::OptionPickerItem(std::optional<std::string> title) : title_(std::move(title)) {}

OptionPickerItemList OptionPickerItem::optionPickerItemsWithTitles(
    const std::vector<std::string>& titles, const std::vector<std::string>* detailText,
    const std::vector<std::shared_ptr<UIImage>>* images) {
  std::vector<std::shared_ptr<OptionPickerItem>> items;
  items.reserve(titles.size());
  for (std::size_t index = 0; index < titles.size(); ++index) {
    auto item = std::make_shared<OptionPickerItem>(titles[index]);
    if (detailText) item->setDetailText(detailText->at(index));
    if (images) item->setImage(images->at(index));
    items.push_back(std::move(item));
  }
  return OptionPickerItems::make(std::move(items));
}

std::shared_ptr<OptionPickerItem> OptionPickerItem::copy() const {
  auto copied = std::make_shared<OptionPickerItem>(title_);
  copied->detailText_ = detailText_;
  copied->image_ = image_;
  copied->representedObject_ = representedObject_;
  copied->tag_ = tag_;
  copied->enabled_ = enabled_;
  return copied;
}

void OptionPickerItem::setTitle(std::optional<std::string> title) {
  title_ = std::move(title);
  ++titleChanges;
}

void OptionPickerItem::setDetailText(std::optional<std::string> detailText) {
  detailText_ = std::move(detailText);
}

void OptionPickerItem::setImage(const std::shared_ptr<UIImage>& image) {
  image_ = image ? image->imageWithRenderingMode(UIImageRenderingMode::AlwaysTemplate) : nullptr;
}

std::shared_ptr<OptionPickerController> OptionPickerItem::optionPicker() const {
  if (!membership_ || !membership_->shows(indexInPool_)) return nullptr;
  return membership_->picker.lock();
}

std::uint64_t OptionPickerItem::titleGeneration() { return titleChanges; }

OptionPickerItems::OptionPickerItems(std::vector<std::shared_ptr<OptionPickerItem>> items)
    : pool_(std::make_shared<Pool>()) {
  pool_->items = std::move(items);
}

OptionPickerItems::OptionPickerItems(std::size_t count, Maker make, TitleOf titleOf)
    : pool_(std::make_shared<Pool>()) {
  pool_->items.resize(count);
  pool_->make = std::move(make);
  pool_->titleOf = std::move(titleOf);
}

OptionPickerItemList OptionPickerItems::make(std::vector<std::shared_ptr<OptionPickerItem>> items) {
  return std::make_shared<const OptionPickerItems>(std::move(items));
}

OptionPickerItemList OptionPickerItems::part(const OptionPickerItemList& of,
                                             const std::vector<std::size_t>& positions) {
  auto list = std::make_shared<OptionPickerItems>(*of);
  list->part_ = true;
  list->indices_.clear();
  list->indices_.reserve(positions.size());
  for (const std::size_t position : positions) {
    list->indices_.push_back(static_cast<std::uint32_t>(of->indexInPool(position)));
  }
  return list;
}

std::size_t OptionPickerItems::size() const {
  return part_ ? indices_.size() : pool_->items.size();
}

const std::shared_ptr<OptionPickerItem>& OptionPickerItems::at(std::size_t position) const {
  const std::size_t index = indexInPool(position);
  auto& item = pool_->items.at(index);
  if (!item) {
    item = pool_->make(index);
    item->membership_ = pool_->membership;
    item->indexInPool_ = static_cast<std::uint32_t>(index);
  }
  return item;
}

std::optional<std::string_view> OptionPickerItems::titleAt(std::size_t position) const {
  const std::size_t index = indexInPool(position);
  const auto& item = pool_->items.at(index);
  if (!item && pool_->titleOf) return pool_->titleOf(index);
  const auto& title = at(position)->title();
  return title ? std::optional<std::string_view>(*title) : std::nullopt;
}

}  // namespace tasklane

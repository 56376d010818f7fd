#include "option-picker/OptionPickerItem.h"

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
  return std::make_shared<OptionPickerItemList::element_type>(std::move(items));
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

std::uint64_t OptionPickerItem::titleGeneration() { return titleChanges; }

}  // namespace tasklane

#include "share-sheet/ConfigurationItemHelper.h"

#include "foundation/property-lists/PropertyListLookup.h"
#include "share-sheet/ExtensionStrings.h"
#include "shared-store/TLXContainers.h"
#include "uikit/navigation/UINavigationController.h"

namespace tasklane {

std::shared_ptr<SearchableOptionPickerController> ConfigurationItemHelper::pickerController() {
  if (!pickerController_) makePicker();
  const auto entries =
      pickProjects_ ? TLXContainers::orderedProjects() : TLXContainers::orderedContexts();
  std::vector<std::shared_ptr<OptionPickerItem>> options;
  options.reserve(entries.size());
  for (const auto& entry : entries) options.push_back(optionItemWithDictionary(entry));
  pickerController_->setItems(
      std::make_shared<OptionPickerItemList::element_type>(std::move(options)));
  return pickerController_;
}

void ConfigurationItemHelper::makePicker() {
  const auto weakHelper = std::weak_ptr<NSObject>(shared_from_this());
  const auto self = [weakHelper] {
    return std::dynamic_pointer_cast<ConfigurationItemHelper>(weakHelper.lock());
  };
  pickerController_ = std::make_shared<SearchableOptionPickerController>(UITableViewStyle::Plain);
  pickerController_->setTitle(extensionString(pickProjects_ ? "Project" : "Context"));
  pickerController_->setTarget(shared_from_this());
  pickerController_->setAction([self](OptionPickerController&) {
    if (const auto helper = self()) helper->pickedItem();
  });
  const std::string countKey = pickProjects_ ? "%@ projects" : "%@ contexts";
  pickerController_->setResultsAnnouncement(
      [countKey](std::size_t count) { return extensionString(countKey, count); });
  pickerController_->tableView()->setBackgroundColor(UIColor::clearColor());
  pickerController_->searchController()->searchBar()->setPlaceholder(extensionString("Search"));
  pickerController_->navigationItem()->setRightBarButtonItem(
      std::make_shared<UIBarButtonItem>(extensionString("None"), UIBarButtonItemStyle::Plain,
                                        shared_from_this(), [self](UIBarButtonItem&) {
                                          if (const auto helper = self()) helper->pickedNone();
                                        }));
}

void ConfigurationItemHelper::pickedItem() {
  const auto chosen = pickerController_ ? pickerController_->selectedItem() : nullptr;
  if (const auto row = configurationItem()) row->setValue(chosen ? chosen->title() : std::nullopt);
  popPicker();
}

void ConfigurationItemHelper::pickedNone() {
  if (const auto row = configurationItem()) row->setValue(std::nullopt);
  popPicker();
}

void ConfigurationItemHelper::popPicker() {
  if (!pickerController_) return;
  if (const auto navigation = pickerController_->navigationController()) {
    navigation->popViewControllerAnimated(true);
  }
}

std::shared_ptr<OptionPickerItem> ConfigurationItemHelper::optionItemWithDictionary(
    const PropertyList& entry) const {
  auto option = std::make_shared<OptionPickerItem>(optionalTextAt(&entry, TLXContainerTitle));
  option->setDetailText(optionalTextAt(&entry, TLXContainerPath));
  return option;
}

}  // namespace tasklane

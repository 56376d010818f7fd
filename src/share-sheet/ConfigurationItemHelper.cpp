#include "share-sheet/ConfigurationItemHelper.h"

#include "share-sheet/ExtensionStrings.h"
#include "shared-store/TLXContainers.h"
#include "uikit/UINavigationController.h"

namespace tasklane {

namespace {

std::optional<std::string_view> textOf(const PropertyList& entry, const char* key) {
  const auto* value = entry.valueForKey(key);
  if (!value || value->type() != PropertyList::Type::String) return std::nullopt;
  return value->stringView();
}

std::optional<std::string> copied(std::optional<std::string_view> text) {
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::shared_ptr<OptionPickerItem> optionOf(const PropertyList& entry) {
  auto option = std::make_shared<OptionPickerItem>(copied(textOf(entry, TLXContainerTitle)));
  option->setDetailText(copied(textOf(entry, TLXContainerPath)));
  return option;
}

}  // namespace

std::shared_ptr<SearchableOptionPickerController> ConfigurationItemHelper::pickerController() {
  if (!pickerController_) makePicker();
  const auto entries = std::make_shared<const std::vector<PropertyList>>(
      pickProjects_ ? TLXContainers::orderedProjects() : TLXContainers::orderedContexts());
  // Options are made when their rows come on screen: a catalogue may hold thousands.
  pickerController_->setItems(std::make_shared<const OptionPickerItems>(
      entries->size(), [entries](std::size_t position) { return optionOf((*entries)[position]); },
      [entries](std::size_t position) { return textOf((*entries)[position], TLXContainerTitle); }));
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
  if (const auto row = configurationItem()) {
    const auto chosen = pickerController_->selectedItem();
    row->setValue(chosen ? chosen->title() : std::nullopt);
  }
  popPicker();
}

void ConfigurationItemHelper::pickedNone() {
  if (const auto row = configurationItem()) row->setValue(std::nullopt);
  popPicker();
}

void ConfigurationItemHelper::popPicker() {
  if (const auto navigation = pickerController_->navigationController()) {
    navigation->popViewControllerAnimated(true);
  }
}

std::shared_ptr<OptionPickerItem> ConfigurationItemHelper::optionItemWithDictionary(
    const PropertyList& entry) const {
  return optionOf(entry);
}

}  // namespace tasklane

#include "option-picker/SearchableOptionPickerController.h"

#include "uikit/views/UIAccessibility.h"

namespace tasklane {

void SearchableOptionPickerController::viewDidLoad() {
  OptionPickerController::viewDidLoad();
  setSearchBarVisibility(0);
  searchController_ = UISearchController::make(nullptr);
  searchController_->setDelegate(sharedFrom(this));
  searchController_->setSearchResultsUpdater(sharedFrom(this));
  searchController_->setDimsBackgroundDuringPresentation(false);
  searchController_->setHidesNavigationBarDuringPresentation(false);
  searchController_->searchBar()->sizeToFit();
  tableView()->setTableHeaderView(searchController_->searchBar());
  setDefinesPresentationContext(true);
}

void SearchableOptionPickerController::viewWillAppear(bool animated) {
  OptionPickerController::viewWillAppear(animated);
  tableView()->setScrollEnabled(true);
  resetSearchControllerState();
}

void SearchableOptionPickerController::viewWillDisappear(bool animated) {
  OptionPickerController::viewWillDisappear(animated);
  resetSearchControllerState();
}

void SearchableOptionPickerController::willDisplayCell(UITableView& tableView,
                                                       UITableViewCell& cell, NSIndexPath) {
  if (tableView.backgroundColor() == UIColor::clearColor()) {
    cell.setBackgroundColor(UIColor::clearColor());
  }
}

void SearchableOptionPickerController::setSearchBarVisibility(std::int32_t visibility,
                                                              bool animated) {
  const auto& header = tableView()->tableHeaderView();
  const CGFloat hidden = header ? header->bounds().size.height : 0;
  tableView()->setContentOffset({0, visibility == 1 ? 0 : hidden}, animated);
  setSearchBarVisibility(visibility);
}

void SearchableOptionPickerController::resetSearchControllerState() {
  if (!UIAccessibilityIsVoiceOverRunning()) {
    if (searchController_) searchController_->setActive(false);
    setSearchBarVisibility(0, false);
  }
  unfilteredItems_ = nullptr;
  hiddenChoice_ = nullptr;
}

void SearchableOptionPickerController::willPresentSearchController(UISearchController&) {
  if (!unfilteredItems_) unfilteredItems_ = items();
}

void SearchableOptionPickerController::updateSearchResultsForSearchController(
    UISearchController& searchController) {
  const std::string& text = searchController.searchBar()->text();
  if (text.empty()) {
    showKeepingChoice(unfilteredItems_);
    return;
  }
  if (!unfilteredItems_ || unfilteredItems_->empty()) return;
  const auto matches = foldedTitles().indicesContaining(text);
  std::vector<std::shared_ptr<OptionPickerItem>> shown;
  shown.reserve(matches.size());
  for (const std::size_t index : matches) shown.push_back((*unfilteredItems_)[index]);
  showKeepingChoice(std::make_shared<OptionPickerItemList::element_type>(std::move(shown)));
  if (resultsAnnouncement_) UIAccessibilityPostAnnouncement(resultsAnnouncement_(matches.size()));
}

void SearchableOptionPickerController::showKeepingChoice(const OptionPickerItemList& items) {
  // A group drops a choice that its list no longer holds; a search only hides it.
  if (const auto chosen = selectedItem()) hiddenChoice_ = chosen->representedObject();
  setItems(items);
  const bool stillShown = selectedItemIndex() != NSNotFound;
  if (!stillShown && hiddenChoice_ && optionGroups()->size() == 1) {
    optionGroups()->front()->selectItemByRepresentedObject(hiddenChoice_);
  }
  if (selectedItemIndex() != NSNotFound) hiddenChoice_ = nullptr;
  tableView()->reloadData();
}

const FoldedTitles& SearchableOptionPickerController::foldedTitles() {
  if (foldedItems_ != unfilteredItems_ ||
      foldedGeneration_ != OptionPickerItem::titleGeneration()) {
    std::vector<std::optional<std::string_view>> titles;
    titles.reserve(unfilteredItems_->size());
    for (const auto& item : *unfilteredItems_) titles.push_back(item->title());
    foldedTitles_ = FoldedTitles(titles);
    foldedItems_ = unfilteredItems_;
    foldedGeneration_ = OptionPickerItem::titleGeneration();
  }
  return foldedTitles_;
}

}  // namespace tasklane

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "foundation/text/NSString+Folding.h"
#include "option-picker/OptionPickerController.h"
#include "uikit/navigation/UISearchController.h"

namespace tasklane {

/// A picker of one group with a search field above its rows, which narrows the list to the titles
/// that contain what is typed, without regard to case and accents. The choice follows its item
/// through every narrowing and widening.
class SearchableOptionPickerController : public OptionPickerController,
                                         public UISearchResultsUpdating,
                                         public UISearchControllerDelegate {
 public:
  using OptionPickerController::OptionPickerController;

  /// Made when the view loads; null before.
  const std::shared_ptr<UISearchController>& searchController() const { return searchController_; }
  void setSearchController(const std::shared_ptr<UISearchController>& controller) {
    searchController_ = controller;
  }

  /// 0: the field is scrolled out of sight above the first row; 1: it is shown.
  std::int32_t searchBarVisibility() const { return searchBarVisibility_; }
  void setSearchBarVisibility(std::int32_t visibility) { searchBarVisibility_ = visibility; }
  void setSearchBarVisibility(std::int32_t visibility, bool animated);
  bool searchBarIsVisible() const { return searchBarVisibility_ == 1; }

  /// The full list while a search is under way, else null.
  const OptionPickerItemList& unfilteredItems() const { return unfilteredItems_; }
  void setUnfilteredItems(const OptionPickerItemList& items) { unfilteredItems_ = items; }

  /// What a screen reader says when a search has left so many rows; nothing is said without one.
  void setResultsAnnouncement(std::function<std::string(std::size_t count)> announcement) {
    resultsAnnouncement_ = std::move(announcement);
  }

  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  void viewWillDisappear(bool animated) override;
  void willDisplayCell(UITableView& tableView, UITableViewCell& cell,
                       NSIndexPath indexPath) override;

  /// Ends a search where no screen reader is running, which would lose its place on the field.
  void resetSearchControllerState();
  void willPresentSearchController(UISearchController& searchController) override;
  void updateSearchResultsForSearchController(UISearchController& searchController) override;

 private:
  const FoldedTitles& foldedTitles();
  void showKeepingChoice(const OptionPickerItemList& items);

  std::shared_ptr<UISearchController> searchController_;
  std::int32_t searchBarVisibility_ = 0;
  OptionPickerItemList unfilteredItems_;
  /// The represented object of the choice that the present search hides, to be chosen again when it
  /// shows.
  std::shared_ptr<NSObject> hiddenChoice_;
  std::function<std::string(std::size_t)> resultsAnnouncement_;

  /// The titles of foldedItems_, folded once for all keystrokes of a search.
  FoldedTitles foldedTitles_;
  OptionPickerItemList foldedItems_;
  std::uint64_t foldedGeneration_ = 0;
};

}  // namespace tasklane

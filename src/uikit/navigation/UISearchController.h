#pragma once

#include <memory>

#include "uikit/navigation/UISearchBar.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

class UISearchController;

/// Shows what a search finds; asked after each change of the text.
class UISearchResultsUpdating {
 public:
  virtual ~UISearchResultsUpdating() = default;
  virtual void updateSearchResultsForSearchController(UISearchController& searchController) = 0;
};

/// Hears when a search begins and ends.
class UISearchControllerDelegate {
 public:
  virtual ~UISearchControllerDelegate() = default;
  virtual void willPresentSearchController(UISearchController& searchController) {
    (void)searchController;
  }
  virtual void didPresentSearchController(UISearchController& searchController) {
    (void)searchController;
  }
  virtual void willDismissSearchController(UISearchController& searchController) {
    (void)searchController;
  }
  virtual void didDismissSearchController(UISearchController& searchController) {
    (void)searchController;
  }
};

/// A search over the screen that shows its bar. Activating it (by the bar's becoming first
/// responder, or by setActive) presents it: the delegate hears first, then the updater, which hears
/// again on each change of the text. A search that is left active when its screen goes begins
/// again, and says so, at the first editing after the screen has come back. Deactivating, which is
/// also what dismissing it does, clears the text and updates once more; a list that was scrolled to
/// reveal the bar returns to where it was.
class UISearchController : public UIViewController, public UISearchBarDelegate {
 public:
  /// Null shows the results in the searched screen itself, which is the only way there is here;
  /// another controller is a programming error.
  static std::shared_ptr<UISearchController> make(
      const std::shared_ptr<UIViewController>& searchResultsController);

  const std::shared_ptr<UISearchBar>& searchBar() const { return searchBar_; }
  /// Both are held weakly.
  void setDelegate(const std::weak_ptr<UISearchControllerDelegate>& delegate) {
    delegate_ = delegate;
  }
  std::shared_ptr<UISearchControllerDelegate> delegate() const { return delegate_.lock(); }
  void setSearchResultsUpdater(const std::weak_ptr<UISearchResultsUpdating>& updater) {
    updater_ = updater;
  }
  std::shared_ptr<UISearchResultsUpdating> searchResultsUpdater() const { return updater_.lock(); }

  bool isActive() const { return active_; }
  void setActive(bool active);
  /// A search here never dims what it searches, nor hides the bar above it: a program says so, and
  /// true is a programming error.
  void setDimsBackgroundDuringPresentation(bool flag);
  void setHidesNavigationBarDuringPresentation(bool flag);

  void searchBarTextDidBeginEditing(UISearchBar& searchBar) override;
  void searchBarTextDidChange(UISearchBar& searchBar) override;
  void searchBarCancelButtonClicked(UISearchBar& searchBar) override;
  void searchBarDidLeaveWindow(UISearchBar& searchBar) override;

  std::shared_ptr<UIView> preferredFocusView() override { return searchBar_; }

 protected:
  bool showsViewWhenPresented() const override { return false; }
  void dismissalWillBegin() override;
  void dismissalDidEnd() override;

 private:
  UISearchController() = default;
  std::shared_ptr<UIViewController> searchedController() const;
  void activate();
  void beginEditing();
  void update();
  std::shared_ptr<UISearchBar> searchBar_;
  std::weak_ptr<UISearchControllerDelegate> delegate_;
  std::weak_ptr<UISearchResultsUpdating> updater_;
  CGPoint offsetBefore_;
  bool active_ = false, activating_ = false, barHadFocus_ = false;
  bool leftScreen_ = false;  ///< while active
};

}  // namespace tasklane

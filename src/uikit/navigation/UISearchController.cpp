#include "uikit/navigation/UISearchController.h"

#include <utility>

#include "uikit/base/ProgrammingError.h"
#include "uikit/views/UIAccessibility.h"
#include "uikit/views/UIScrollView.h"

namespace tasklane {
namespace {

std::shared_ptr<UIScrollView> listAround(const UIView& view) {
  for (auto above = view.superview(); above; above = above->superview()) {
    if (auto list = std::dynamic_pointer_cast<UIScrollView>(above)) return list;
  }
  return nullptr;
}

}  // namespace

std::shared_ptr<UISearchController> UISearchController::make(
    const std::shared_ptr<UIViewController>& searchResultsController) {
  if (searchResultsController) {
    detail::programmingError(
        "UISearchController shows its results in the searched screen; pass no results controller");
  }
  struct Made : UISearchController {};
  const auto made = std::make_shared<Made>();
  made->searchBar_ = std::make_shared<UISearchBar>();
  made->searchBar_->setDelegate(std::shared_ptr<UISearchController>(made));
  return made;
}

void UISearchController::setDimsBackgroundDuringPresentation(bool flag) {
  if (flag) detail::programmingError("UISearchController cannot dim what it searches; pass false");
}

void UISearchController::setHidesNavigationBarDuringPresentation(bool flag) {
  if (flag) detail::programmingError("UISearchController cannot hide the bar; pass false");
}

/// The screen that presents the search: the nearest presentation context around the bar, else the
/// screen that the bar is on.
std::shared_ptr<UIViewController> UISearchController::searchedController() const {
  std::shared_ptr<UIViewController> nearest;
  for (std::shared_ptr<UIResponder> at = searchBar_; at; at = at->nextResponder()) {
    const auto controller = std::dynamic_pointer_cast<UIViewController>(at);
    if (!controller) continue;
    if (controller->definesPresentationContext()) return controller;
    if (!nearest) nearest = controller;
  }
  return nearest;
}

void UISearchController::setActive(bool active) {
  if (active == active_) return;
  const auto self = sharedFrom(this);
  if (active) {
    activate();
    activating_ = true;
    searchBar_->becomeFirstResponder();
    activating_ = false;
    update();
    return;
  }
  if (presentingViewController()) {
    dismissViewControllerAnimated(true);
  } else {
    dismissalWillBegin();
    dismissalDidEnd();
  }
}

void UISearchController::activate() {
  active_ = true;
  leftScreen_ = false;
  if (const auto delegate = this->delegate()) delegate->willPresentSearchController(*this);
  if (const auto list = listAround(*searchBar_)) {
    offsetBefore_ = list->contentOffset();
    list->scrollRectToVisible(searchBar_->convertRectToView(searchBar_->bounds(), list.get()),
                              true);
  }
  const auto searched = searchedController();
  if (searched && !searched->presentedViewController()) {
    searched->presentViewController(sharedFrom(this), true);
  }
  if (const auto delegate = this->delegate()) delegate->didPresentSearchController(*this);
}

void UISearchController::dismissalWillBegin() {
  if (!active_) return;
  if (const auto delegate = this->delegate()) delegate->willDismissSearchController(*this);
  active_ = false;
  barHadFocus_ = searchBar_->isFirstResponder();
  searchBar_->setText("");
  searchBar_->resignFirstResponder();
  update();
}

void UISearchController::dismissalDidEnd() {
  if (const auto list = listAround(*searchBar_)) list->setContentOffset(offsetBefore_, false);
  if (std::exchange(barHadFocus_, false)) {
    if (const auto searched = searchedController()) searched->restoreFocus();
  }
  if (const auto delegate = this->delegate()) delegate->didDismissSearchController(*this);
}

void UISearchController::update() {
  // What the search had found is not so any more.
  if (searchBar_->text().empty()) UIAccessibilityPostAnnouncement({});
  if (const auto updater = searchResultsUpdater()) {
    updater->updateSearchResultsForSearchController(*this);
  }
}

void UISearchController::searchBarTextDidBeginEditing(UISearchBar&) {
  if (activating_) return;
  beginEditing();
}

void UISearchController::searchBarTextDidChange(UISearchBar&) { beginEditing(); }

void UISearchController::beginEditing() {
  if (!active_ || leftScreen_) activate();
  update();
}

void UISearchController::searchBarDidLeaveWindow(UISearchBar&) { leftScreen_ = active_; }

void UISearchController::searchBarCancelButtonClicked(UISearchBar&) { setActive(false); }

}  // namespace tasklane

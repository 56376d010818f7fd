#pragma once

#include <QWidget>
#include <vector>

class QKeyEvent;

namespace tasklane {
class UIView;
class UITableView;
class UISearchBar;
class UIViewController;
}  // namespace tasklane

namespace tasklane::qt {

/// The controllers that hear of a key, from the view upwards; when the view is the window itself,
/// from what is shown on top of everything.
std::vector<std::shared_ptr<UIViewController>> controllersAbove(UIView& view);

/// The keys that mean the same everywhere in a window, asked from the view that has the keyboard:
/// Escape (clears the search, goes back, cancels), Ctrl+Return (does what the screen is there to
/// do) and, where no text is typed, Ctrl+V. Answers whether the event was one of them; the view may
/// be gone afterwards.
bool handleWindowKey(QKeyEvent& event, UIView& view);

/// A key that reaches a text in which an input method composes belongs to the method: Escape drops
/// the candidate, every other key confirms it, and does nothing else.
void handleKeyWhileComposing(QKeyEvent& event);

/// The search field that belongs to a table: in it, or on the same screen. Null if none.
std::shared_ptr<UISearchBar> searchBarFor(const UIView& view);
/// The table that a search field searches, or null.
std::shared_ptr<UITableView> tableFor(const UISearchBar& searchBar);

/// The widgets that Tab visits in a window, in reading order.
std::vector<QWidget*> tabOrder(UIView& window);

}  // namespace tasklane::qt

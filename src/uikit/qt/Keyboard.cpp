#include "uikit/qt/Keyboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QInputMethod>
#include <QKeyEvent>
#include <algorithm>
#include <cmath>

#include "uikit/navigation/UISearchBar.h"
#include "uikit/qt/Pasteboard.h"
#include "uikit/qt/ViewPeer.h"
#include "uikit/tables/UITableView.h"
#include "uikit/views/UIViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::qt {

namespace {

// Views whose middles are no further apart than this stand in one line of the reading order.
constexpr double kSameLine = 12;

template <class View>
std::shared_ptr<View> firstOfKind(const std::shared_ptr<UIView>& root) {
  if (root->isHidden()) return nullptr;
  if (auto found = std::dynamic_pointer_cast<View>(root)) return found;
  for (const auto& subview : root->subviews())
    if (auto found = firstOfKind<View>(subview)) return found;
  return nullptr;
}

/// The nearest view of a kind: below the view itself, then below each of its superviews as far as
/// the root view of its screen.
template <class View>
std::shared_ptr<View> nearestOfKind(const UIView& view) {
  for (auto root = sharedFrom(const_cast<UIView*>(&view)); root; root = root->superview()) {
    if (auto found = firstOfKind<View>(root)) return found;
    if (root->viewController()) break;
  }
  return nullptr;
}

void performEscape(UIView& view) {
  if (const auto searchBar = searchBarFor(view)) {
    if (!searchBar->text().empty()) {
      searchBar->userDidChangeText({});
      return;
    }
    searchBar->userDidCancel();
  }
  for (const auto& controller : controllersAbove(view))
    if (controller->accessibilityPerformEscape()) return;
}

void performPrimaryAction(UIView& view) {
  auto controllers = controllersAbove(view);
  for (const auto& controller : controllers)
    if (controller->performPrimaryAction()) return;
}

void collect(UIView& view, std::vector<QWidget*>& found) {
  const ViewPeer* peer = ViewPeer::of(&view);
  if (!peer || !peer->widget() || view.isHidden()) return;
  QWidget* target = peer->focusTarget();
  if (target && (!target->isEnabled() || !target->isVisibleTo(target->window()) ||
                 !view.canBecomeFirstResponder()))
    target = nullptr;
  // What stands in a list stands above its rows.
  const bool isList = dynamic_cast<UITableView*>(&view) != nullptr;
  if (target && !isList) found.push_back(target);
  auto subviews = view.subviews();
  const bool mirrored =
      view.effectiveUserInterfaceLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
  const auto key = [mirrored](const std::shared_ptr<UIView>& each) {
    const CGRect frame = each->frame();
    return std::pair(std::floor(frame.midY() / kSameLine), mirrored ? -frame.maxX() : frame.minX());
  };
  std::stable_sort(subviews.begin(), subviews.end(),
                   [&](const auto& a, const auto& b) { return key(a) < key(b); });
  for (const auto& subview : subviews) collect(*subview, found);
  if (target && isList) found.push_back(target);
}

}  // namespace

std::vector<std::shared_ptr<UIViewController>> controllersAbove(UIView& view) {
  std::vector<std::shared_ptr<UIViewController>> found;
  std::shared_ptr<UIResponder> start = sharedFrom(&view);
  if (const auto* window = dynamic_cast<UIWindow*>(&view)) {
    auto top = window->rootViewController();
    while (top && top->presentedViewController()) top = top->presentedViewController();
    start = top;
  }
  for (; start; start = start->nextResponder())
    if (auto controller = std::dynamic_pointer_cast<UIViewController>(start))
      found.push_back(std::move(controller));
  return found;
}

void handleKeyWhileComposing(QKeyEvent& event) {
  QInputMethod& method = *QGuiApplication::inputMethod();
  if (event.key() == Qt::Key_Escape)
    method.reset();
  else
    method.commit();
  event.accept();
}

bool handleWindowKey(QKeyEvent& event, UIView& view) {
  const bool isReturn = event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
  const auto modifiers = event.modifiers() & ~Qt::KeypadModifier;
  const bool isPrimary = isReturn && modifiers == Qt::ControlModifier;
  const bool isEscape = event.key() == Qt::Key_Escape && modifiers == Qt::NoModifier;
  const bool isPaste =
      event.matches(QKeySequence::Paste) && !dynamic_cast<const UITextInput*>(&view);
  if (!isPrimary && !isEscape && !isPaste) return false;
  event.accept();
  // A key held down must not run through search, screen and sheet at once.
  if (event.isAutoRepeat()) return true;
  const auto keep = view.shared_from_this();
  if (isEscape) {
    performEscape(view);
  } else if (isPrimary) {
    performPrimaryAction(view);
  } else if (const auto* copied = QGuiApplication::clipboard()->mimeData()) {
    giveToScreen(*copied, view);
  }
  return true;
}

std::shared_ptr<UISearchBar> searchBarFor(const UIView& view) {
  return nearestOfKind<UISearchBar>(view);
}

std::shared_ptr<UITableView> tableFor(const UISearchBar& searchBar) {
  for (auto view = searchBar.superview(); view; view = view->superview())
    if (auto table = std::dynamic_pointer_cast<UITableView>(view)) return table;
  return nearestOfKind<UITableView>(searchBar);
}

std::vector<QWidget*> tabOrder(UIView& window) {
  std::vector<QWidget*> found;
  if (const auto* asWindow = dynamic_cast<UIWindow*>(&window)) {
    auto top = asWindow->rootViewController();
    while (top && top->presentedViewController() &&
           top->presentedViewController()->isViewLoaded() &&
           top->presentedViewController()->view()->peer())
      top = top->presentedViewController();
    if (top && top != asWindow->rootViewController()) {
      collect(*top->view(), found);
      return found;
    }
  }
  collect(window, found);
  return found;
}

}  // namespace tasklane::qt

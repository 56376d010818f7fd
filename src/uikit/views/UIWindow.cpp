#include "uikit/views/UIWindow.h"

#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

UIWindow::UIWindow(CGRect frame) : UIView(frame) { window_ = this; }

UIWindow::~UIWindow() {
  if (visible_) backend::hideWindow(*this);
  visible_ = false;
  setWindowOfSubtree(nullptr);
}

void UIWindow::setRootViewController(const std::shared_ptr<UIViewController>& controller) {
  if (controller == rootViewController_) return;
  const auto old = std::exchange(rootViewController_, controller);
  const bool switches = visible_;
  if (old) {
    if (switches) old->beginAppearanceTransition(false, false);
    if (old->isViewLoaded()) old->view()->removeFromSuperview();
    if (switches) old->endAppearanceTransition();
  }
  if (!controller || !switches) return;
  controller->beginAppearanceTransition(true, false);
  fillWithRootView();
  controller->endAppearanceTransition();
  focusPreferredView();
}

void UIWindow::fillWithRootView() {
  const auto view = rootViewController_->view();
  view->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
  view->setFrame({{0, 0}, frame().size});
  insertSubviewAtIndex(view, 0);
}

void UIWindow::focusPreferredView() {
  if (firstResponder() || !rootViewController_) return;
  if (const auto view = rootViewController_->preferredFocusView()) view->becomeFirstResponder();
}

void UIWindow::makeKeyAndVisible() {
  if (visible_) return;
  const auto keepsAlive = weak_from_this().lock();
  const auto root = rootViewController_;
  if (root) {
    root->beginAppearanceTransition(true, false);
    fillWithRootView();
  }
  layoutIfNeeded();
  visible_ = true;
  makePeers();
  backend::showWindow(*this);
  if (root) root->endAppearanceTransition();
  focusPreferredView();
}

void UIWindow::close() {
  if (!visible_) return;
  const auto keepsAlive = weak_from_this().lock();
  const auto root = rootViewController_;
  if (root) root->beginAppearanceTransition(false, false);
  if (const auto responder = firstResponder()) responder->resignFirstResponder();
  visible_ = false;
  backend::hideWindow(*this);
  dropPeers();
  if (root) root->endAppearanceTransition();
}

void UIWindow::setTitle(std::string title) {
  if (title_ == title) return;
  title_ = std::move(title);
  peerNeedsUpdate();
}

}  // namespace tasklane

#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "uikit/navigation/UINavigationBar.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

/// A stack of screens under one navigation bar. Pushing and popping slide; where the desktop has
/// turned animations off they do not. The stack changes at once; a push or pop during another one's
/// animation ends that animation first, and one from inside an appearance call follows when that
/// call has returned. A screen that is covered gets the keyboard's focus back where it was.
class UINavigationController : public UIViewController {
 public:
  ~UINavigationController() override;
  /// The root is pushed at once; make() exists because that needs shared ownership.
  static std::shared_ptr<UINavigationController> make(
      const std::shared_ptr<UIViewController>& root);

  const std::vector<std::shared_ptr<UIViewController>>& viewControllers() const { return stack_; }
  std::shared_ptr<UIViewController> topViewController() const;
  void pushViewController(const std::shared_ptr<UIViewController>& controller, bool animated);
  /// The controller that was popped, or null when only the root is left.
  std::shared_ptr<UIViewController> popViewControllerAnimated(bool animated);
  void popToRootViewControllerAnimated(bool animated);
  const std::shared_ptr<UINavigationBar>& navigationBar();

  /// Goes one step back, as Escape does: dismisses what the top screen presents, else pops it.
  /// Answers false where only the root is left.
  bool goBack();
  /// Called before the top screen changes, with the one that will be on top. For the owner of the
  /// stack.
  void setTopWillChangeHandler(std::function<void(UIViewController& top)> handler) {
    topWillChangeHandler_ = std::move(handler);
  }

  void loadView() override;
  void viewDidLoad() override;
  bool accessibilityPerformEscape() override;
  std::shared_ptr<UIView> preferredFocusView() override;

 private:
  class StackView;
  struct Transition;
  void stackDidChange(bool animated);
  void beginTransition(const std::shared_ptr<UIViewController>& to, bool animated);
  void finishTransition();
  void layoutStack();
  CGRect contentFrame() const;

  std::vector<std::shared_ptr<UIViewController>> stack_;
  std::shared_ptr<UIViewController> shown_;
  std::shared_ptr<Transition> transition_;
  std::shared_ptr<UINavigationBar> bar_;
  std::function<void(UIViewController&)> topWillChangeHandler_;
  bool settingUp_ = false, nextIsAnimated_ = false;
};

}  // namespace tasklane

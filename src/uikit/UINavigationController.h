#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "uikit/UINavigationBar.h"
#include "uikit/UIViewController.h"

namespace tasklane {

/// A stack of screens under one navigation bar. Pushing and popping slide; where the desktop has
/// turned animations off they do not.
class UINavigationController : public UIViewController {
 public:
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

  void loadView() override;
  void viewDidLoad() override;
  bool accessibilityPerformEscape() override;

 private:
  std::vector<std::shared_ptr<UIViewController>> stack_;
  std::shared_ptr<UINavigationBar> bar_;
};

}  // namespace tasklane

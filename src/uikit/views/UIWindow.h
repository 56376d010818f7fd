#pragma once

#include <memory>
#include <string>

#include "uikit/views/UIView.h"

namespace tasklane {

class UIViewController;

/// The top of a view tree: a window of the desktop, with one root view controller whose view fills
/// it.
class UIWindow : public UIView {
 public:
  explicit UIWindow(CGRect frame = {});
  ~UIWindow() override;

  std::shared_ptr<UIViewController> rootViewController() const { return rootViewController_; }
  void setRootViewController(const std::shared_ptr<UIViewController>& controller);

  /// Shows the window and gives it the keyboard; the root controller appears.
  void makeKeyAndVisible();
  /// Takes it off the screen; the root controller disappears.
  void close();
  bool isVisible() const { return visible_; }

  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  /// Called when the person closes the window by the desktop's means; the window stays until told
  /// to close.
  void setCloseHandler(std::function<void()> handler) { closeHandler_ = std::move(handler); }
  const std::function<void()>& closeHandler() const { return closeHandler_; }

  std::shared_ptr<UIResponder> firstResponder() const { return firstResponder_.lock(); }

 private:
  friend class UIView;
  void fillWithRootView();
  void focusPreferredView();

  std::shared_ptr<UIViewController> rootViewController_;
  std::weak_ptr<UIResponder> firstResponder_;
  std::function<void()> closeHandler_;
  std::string title_;
  bool visible_ = false;
};

}  // namespace tasklane

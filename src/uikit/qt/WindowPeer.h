#pragma once

#include "uikit/qt/ViewPeer.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::qt {

/// A window of the desktop. It has the view's size, less where the screen is smaller, until a
/// person or a tiling desktop gives it another: that stays, and the view follows it.
class WindowPeer : public ViewPeer {
 public:
  explicit WindowPeer(UIWindow& window);
  ~WindowPeer() override;

  /// Hidden windows are laid out and can be drawn, but no screen ever shows them.
  enum class Visibility { Shown, Hidden };
  void show(Visibility visibility);
  void hide();
  void place() override;

  static WindowPeer* of(UIWindow& window);

 protected:
  void apply() override;

 private:
  friend class WindowWidget;
  void desktopDidResize();
  CGSize fittedToScreen(CGSize size) const;
  UIWindow* window_;
  QSize asked_, askedBefore_;
  bool applying_ = false, sizeWasGiven_ = false;
};

}  // namespace tasklane::qt

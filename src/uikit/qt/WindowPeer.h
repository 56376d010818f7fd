#pragma once

#include "uikit/UIWindow.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

/// A window of the desktop. It has the view's size, less where the screen is smaller; a person's
/// resizing gives the view a new frame.
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
  void personDidResize();
  CGSize fittedToScreen(CGSize size) const;
  UIWindow* window_;
  bool applying_ = false;
};

}  // namespace tasklane::qt

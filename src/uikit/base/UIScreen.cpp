#include "uikit/base/UIScreen.h"

#include "uikit/base/Backend.h"

namespace tasklane {

UIScreen& UIScreen::mainScreen() {
  static UIScreen screen;
  return screen;
}

CGRect UIScreen::bounds() const {
  return bounds_ ? *bounds_ : CGRect{{0, 0}, backend::mainScreenSize()};
}

CGFloat UIScreen::scale() const { return backend::mainScreenScale(); }

void UIScreen::overrideBounds(const CGRect* bounds) {
  bounds_ = bounds ? std::optional(*bounds) : std::nullopt;
}

UIDevice& UIDevice::currentDevice() {
  static UIDevice device;
  return device;
}

}  // namespace tasklane

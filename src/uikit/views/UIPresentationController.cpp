#include "uikit/views/UIPresentationController.h"

namespace tasklane {

UIPresentationController::UIPresentationController(
    const std::shared_ptr<UIViewController>& presented,
    const std::shared_ptr<UIViewController>& presenting)
    : presented_(presented), presenting_(presenting) {}

void UIPopoverPresentationController::setBackgroundColor(const std::optional<UIColor>& color) {
  backgroundColor_ = color;
}

}  // namespace tasklane

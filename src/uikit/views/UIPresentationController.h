#pragma once

#include <memory>
#include <optional>

#include "uikit/drawing/UIColor.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

/// How one controller is shown over another. Held by the presented controller; it holds both
/// weakly.
class UIPresentationController : public NSObject {
 public:
  UIPresentationController(const std::shared_ptr<UIViewController>& presented,
                           const std::shared_ptr<UIViewController>& presenting);
  std::shared_ptr<UIViewController> presentedViewController() const { return presented_.lock(); }
  std::shared_ptr<UIViewController> presentingViewController() const { return presenting_.lock(); }

 private:
  std::weak_ptr<UIViewController> presented_, presenting_;
};

/// A presentation in a bubble that points at its source.
class UIPopoverPresentationController : public UIPresentationController {
 public:
  using UIPresentationController::UIPresentationController;
  /// None is the platform's own popover background.
  const std::optional<UIColor>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(const std::optional<UIColor>& color);

 private:
  std::optional<UIColor> backgroundColor_;
};

}  // namespace tasklane

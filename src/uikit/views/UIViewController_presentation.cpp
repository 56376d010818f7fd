#include <utility>

#include "foundation/base/NSLog.h"
#include "uikit/base/Backend.h"
#include "uikit/views/UIPresentationController.h"
#include "uikit/views/UIViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {

/// How a controller came to be presented: what it covers, until it is dismissed.
struct UIViewController::Presentation {
  std::weak_ptr<UIViewController> covered;  ///< the screen that its view hides; none without a view
  bool arriving = true;
  bool leaving = false;
};

namespace {

constexpr double kPresentationSeconds = 0.3;

/// The screen that a presentation from a controller covers: the nearest one, from the controller
/// up, that is a presentation context, else the outermost.
std::shared_ptr<UIViewController> coveredScreen(std::shared_ptr<UIViewController> controller) {
  while (!controller->definesPresentationContext()) {
    auto parent = controller->parentViewController();
    if (!parent) break;
    controller = std::move(parent);
  }
  return controller;
}

}  // namespace

const std::shared_ptr<UIPresentationController>& UIViewController::presentationController() {
  if (!presentationController_) {
    presentationController_ =
        std::make_shared<UIPresentationController>(sharedFrom(this), presenting_.lock());
  }
  return presentationController_;
}

void UIViewController::presentViewController(const std::shared_ptr<UIViewController>& controller,
                                             bool animated, std::function<void()> completion) {
  const auto self = sharedFrom(this);
  if (presented_ || !controller || controller.get() == this || controller->presenting_.lock()) {
    NSLog(description() + " does not present " +
          (controller ? controller->description() : "nothing") +
          ": one of them is in a presentation already");
    return;
  }
  presented_ = controller;
  controller->presenting_ = self;
  controller->presentationController_.reset();
  const auto presentation = std::make_shared<Presentation>();
  controller->presentation_ = presentation;

  const auto window = view_ ? view_->window() : nullptr;
  if (!window || !controller->showsViewWhenPresented()) {
    presentation->arriving = false;
    if (completion) completion();
    return;
  }
  const auto covered = coveredScreen(self);
  presentation->covered = covered;
  backend::screenDidChange();
  covered->rememberFocus();
  const auto host = covered->view()->superview();
  const auto& view = controller->view();
  const CGRect place = covered->view()->frame();
  view->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
  view->setFrame(place);
  (host ? host : window)->addSubview(view);
  covered->beginAppearanceTransition(false, animated);
  controller->beginAppearanceTransition(true, animated);
  controller->takeFocusFrom(*covered);
  const auto finish = [self, controller, presentation, completion = std::move(completion)] {
    if (presentation->arriving) self->finishPresenting(controller);
    if (completion) completion();
  };
  if (!animated) return finish();
  view->setFrame({{place.origin.x, place.maxY()}, place.size});
  UIView::animateWithDuration(
      kPresentationSeconds, [view, place] { view->setFrame(place); }, finish);
}

void UIViewController::finishPresenting(const std::shared_ptr<UIViewController>& controller) {
  const auto presentation = controller->presentation_;
  if (!presentation || !std::exchange(presentation->arriving, false)) return;
  controller->endAppearanceTransition();
  controller->restoreFocus();
  if (const auto covered = presentation->covered.lock()) covered->endAppearanceTransition();
}

void UIViewController::dismissViewControllerAnimated(bool animated,
                                                     std::function<void()> completion) {
  if (presented_) return dismissPresented(animated, std::move(completion));
  if (const auto presenting = presenting_.lock()) {
    return presenting->dismissPresented(animated, std::move(completion));
  }
  if (completion) completion();
}

void UIViewController::dismissPresented(bool animated, std::function<void()> completion) {
  const auto self = sharedFrom(this);
  const auto controller = presented_;
  const auto presentation = controller->presentation_;
  if (presentation->leaving) return;
  // What is presented from there goes with it, from the far end.
  if (controller->presented_) controller->dismissPresented(false, {});
  finishPresenting(controller);
  presentation->leaving = true;
  controller->dismissalWillBegin();

  const auto covered = presentation->covered.lock();
  const auto finish = [self, controller, covered, completion = std::move(completion)] {
    if (self->presented_ == controller) self->presented_.reset();
    controller->presenting_.reset();
    controller->presentation_.reset();
    controller->presentationController_.reset();
    if (covered) {
      controller->view()->removeFromSuperview();
      covered->endAppearanceTransition();
      covered->restoreFocus();
      controller->endAppearanceTransition();
    }
    controller->dismissalDidEnd();
    if (completion) completion();
  };
  if (!covered) return finish();
  backend::screenDidChange();
  controller->beginAppearanceTransition(false, animated);
  covered->beginAppearanceTransition(true, animated);
  if (!animated) return finish();
  const auto view = controller->view();
  const CGRect place = view->frame();
  UIView::animateWithDuration(
      kPresentationSeconds,
      [view, place] {
        view->setFrame({{place.origin.x, place.maxY()}, place.size});
      },
      finish);
}

}  // namespace tasklane

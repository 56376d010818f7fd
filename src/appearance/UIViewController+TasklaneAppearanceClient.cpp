#include "appearance/UIViewController+TasklaneAppearanceClient.h"

#include "kestrel/base/KBReplaceMethodImplementation.h"
#include "uikit/controls/UIWebView.h"

namespace tasklane {

namespace {

/// The platform's own body of viewWillAppear, kept when it was replaced. It is never destroyed: a
/// controller may still appear while the process ends.
UIViewController::ViewWillAppearBody& originalViewWillAppear() {
  static auto& body = *std::make_unique<UIViewController::ViewWillAppearBody>().release();
  return body;
}

bool isWebView(const UIView& view) {
  return dynamic_cast<const UIWebView*>(&view) || dynamic_cast<const WKWebView*>(&view);
}

bool isStyledByCustomAppearance(UIViewController& controller) {
  for (auto above = sharedFrom(&controller); above; above = above->parentViewController())
    if (customTasklaneAppearance(*above)) return true;
  return false;
}

}  // namespace

void tasklaneAppearanceUpdateScrollViewIndicatorStyle(UIViewController& controller) {
  if (isStyledByCustomAppearance(controller) || !controller.isViewLoaded()) return;
  std::set<const UIView*> stopViews;
  for (const auto& child : controller.childViewControllers())
    if (child->isViewLoaded()) stopViews.insert(child->view().get());
  _tasklaneAppearanceUpdateScrollViewIndicatorStyleStartingAtView(*controller.view(), stopViews);
}

void _tasklaneAppearanceUpdateScrollViewIndicatorStyleStartingAtView(
    UIView& view, const std::set<const UIView*>& stopViews) {
  if (isWebView(view) || stopViews.contains(&view)) return;
  if (auto* scrollView = dynamic_cast<UIScrollView*>(&view))
    scrollView->setIndicatorStyle(
        TasklaneAppearance::currentAppearance().ScrollViewIndicatorStyle());
  for (const auto& subview : view.subviews())
    _tasklaneAppearanceUpdateScrollViewIndicatorStyleStartingAtView(*subview, stopViews);
}

void tasklaneAppearanceUpdateBarStyleForCurrentNavigationStack(UINavigationController& controller) {
  const auto custom = customTasklaneAppearance(controller);
  tasklaneAppearanceUpdateBarStyleWithAppearance(
      controller, custom ? *custom : TasklaneAppearance::currentAppearance());
}

void tasklaneAppearanceUpdateBarStyleWithAppearance(UINavigationController& controller,
                                                    const TasklaneAppearance& appearance) {
  controller.navigationBar()->setBarStyle(appearance.BarStyle());
}

void replacement_viewWillAppear(UIViewController& controller, bool animated) {
  if (const auto& original = originalViewWillAppear()) original(controller, animated);
  tasklaneAppearanceUpdateScrollViewIndicatorStyle(controller);
}

void tasklaneAppearanceDidChangeForPopover(UIPopoverPresentationController& popover,
                                           const std::shared_ptr<TasklaneAppearance>& appearance) {
  const auto presented = popover.presentedViewController();
  const auto custom = presented ? customTasklaneAppearance(*presented) : nullptr;
  const auto effective = custom ? custom : appearance;
  if (!effective || effective == TasklaneDefaultAppearance::appearance())
    popover.setBackgroundColor(std::nullopt);
  else
    popover.setBackgroundColor(effective->PopoverBackgroundColor());
}

bool detail::exchangeViewWillAppear() {
  originalViewWillAppear() = KBReplaceMethodImplementationWithSelector(
      &UIViewController::exchangeViewWillAppear, replacement_viewWillAppear);
  return true;
}

}  // namespace tasklane

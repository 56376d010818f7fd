#pragma once

#include <set>

#include "appearance/TasklaneAppearanceClient.h"
#include "uikit/navigation/UINavigationController.h"
#include "uikit/views/UIPresentationController.h"

namespace tasklane {

/// Gives the scroll views in a controller's own part of the view tree (not those of its child
/// controllers, nor inside web views) the current palette's indicator style. A controller inside
/// one that vends an appearance of its own, or that vends one itself, is left alone; so is one
/// whose view is not loaded. Happens whenever any controller is about to appear.
void tasklaneAppearanceUpdateScrollViewIndicatorStyle(UIViewController& controller);

/// The walk of the above: a view and all below it, apart from the stop views and what is below
/// them.
void _tasklaneAppearanceUpdateScrollViewIndicatorStyleStartingAtView(
    UIView& view, const std::set<const UIView*>& stopViews);

/// Sets the navigation bar's style by the appearance that the controller vends, else by the current
/// palette's.
void tasklaneAppearanceUpdateBarStyleForCurrentNavigationStack(UINavigationController& controller);
void tasklaneAppearanceUpdateBarStyleWithAppearance(UINavigationController& controller,
                                                    const TasklaneAppearance& appearance);

/// The body of every controller's viewWillAppear: the platform's own, then the update of the scroll
/// indicators. In place from program load on.
void replacement_viewWillAppear(UIViewController& controller, bool animated);

/// A popover's reaction: no background of its own for the default palette, else the appearance's
/// PopoverBackgroundColor. What the presented controller vends comes before the given appearance.
void tasklaneAppearanceDidChangeForPopover(UIPopoverPresentationController& popover,
                                           const std::shared_ptr<TasklaneAppearance>& appearance);

}  // namespace tasklane

#pragma once

#include <functional>
#include <memory>

#include "uikit/views/UIView.h"

namespace tasklane {

/// The nearest view of a class (or of one derived from it) on the way from a view up through its
/// superviews, the view itself counted; none when there is none, and none from no view.
template <class View>
std::shared_ptr<View> containingViewOfClass(std::shared_ptr<UIView> view) {
  for (; view; view = view->superview())
    if (auto found = std::dynamic_pointer_cast<View>(view)) return found;
  return nullptr;
}

/// What a visitor of a view tree answers: where the walk goes on.
enum class KUIViewVisit { Stop = 0, SkipSubviews = 1, EnterSubviews = 2 };

/// Calls the visitor for a view and for the views below it: the view itself first, every view
/// before its subviews, subviews in their order (back to front). The visitor may change the tree;
/// the subviews entered are those that a view has when its own visit ends.
void applyToViewTree(const std::shared_ptr<UIView>& view,
                     const std::function<KUIViewVisit(const std::shared_ptr<UIView>&)>& visitor);

}  // namespace tasklane

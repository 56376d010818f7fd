#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "kestrel/views/UIView+KestrelUI.h"
#include "uikit/tables/UITableViewCell.h"
#include "uikit/views/NSLayoutConstraint.h"
#include "uikit/views/UIView.h"

// Small operations on any view: searches through the view tree and constraints that pin a subview
// to the edges of its superview. Main thread.

namespace tasklane {

// Identifiers of hugging constraints, by the edge that they pin.
inline constexpr const char* TasklaneHuggingConstraintIdentifierTop =
    "com.kestrelworks.tasklane.top";
inline constexpr const char* TasklaneHuggingConstraintIdentifierBottom =
    "com.kestrelworks.tasklane.bottom";
inline constexpr const char* TasklaneHuggingConstraintIdentifierLeading =
    "com.kestrelworks.tasklane.leading";
inline constexpr const char* TasklaneHuggingConstraintIdentifierTrailing =
    "com.kestrelworks.tasklane.trailing";

/// The first view that is the first responder, from a view (possibly none) downwards: a view before
/// its subviews, a whole subtree before the next sibling. A list of subviews that changes during
/// the search is a programming error.
std::shared_ptr<UIView> findFirstResponderStartingAtView(const std::shared_ptr<UIView>& view);

/// The cell that a view lies in. A cell lies in itself: the search (containingViewOfClass) counts
/// the view that it starts at.
std::shared_ptr<UITableViewCell> enclosingTableViewCell(const std::shared_ptr<UIView>& view);
std::shared_ptr<UICollectionViewCell> enclosingCollectionViewCell(
    const std::shared_ptr<UIView>& view);

using NSLayoutConstraints = std::vector<std::shared_ptr<NSLayoutConstraint>>;

/// Four new constraints, not yet active, that tie a subview to its superview, which it must have:
/// leading and trailing, top and bottom, each with its edge's identifier. A direction that prefers
/// the layout margin keeps the standard spacing to the superview's margins, the other is flush with
/// the edges. The subview's autoresizing mask no longer counts. The view itself is not referred to.
NSLayoutConstraints constraintsToHugSubview(UIView& view, const std::shared_ptr<UIView>& subview,
                                            bool preferHorizontalLayoutMargin,
                                            bool preferVerticalLayoutMargin);
/// The same, active.
void addConstraintsToHugSubview(UIView& view, const std::shared_ptr<UIView>& subview,
                                bool preferHorizontalLayoutMargin, bool preferVerticalLayoutMargin);
/// Standard spacing to the margins on all sides.
NSLayoutConstraints standardSpacingConstraintsForSubview(UIView& view,
                                                         const std::shared_ptr<UIView>& subview);
void addStandardSpacingConstraintsForSubview(UIView& view, const std::shared_ptr<UIView>& subview);
/// Flush with the edges on all sides.
NSLayoutConstraints huggingConstraintsForSubview(UIView& view,
                                                 const std::shared_ptr<UIView>& subview);
void addHuggingConstraintsForSubview(UIView& view, const std::shared_ptr<UIView>& subview);

/// The nearest view that holds both views, possibly one of them; none when they are in different
/// trees or the other is none.
std::shared_ptr<UIView> commonAncestorWithView(const std::shared_ptr<UIView>& view,
                                               const std::shared_ptr<UIView>& other);

/// The views of a view's tree that pass a test, in the order of applyToViewTree: the view itself
/// counts and comes first, every view comes before its subviews, subviews in their order.
std::vector<std::shared_ptr<UIView>> subviewsMatchingPredicate(
    const std::shared_ptr<UIView>& view,
    const std::function<bool(const std::shared_ptr<UIView>&)>& predicate);

/// The same for the views of a class and of those derived from it.
template <class View>
std::vector<std::shared_ptr<View>> subviewsOfClass(const std::shared_ptr<UIView>& view) {
  const auto isOfClass = [](const std::shared_ptr<UIView>& candidate) {
    return dynamic_cast<View*>(candidate.get()) != nullptr;
  };
  std::vector<std::shared_ptr<View>> found;
  for (const auto& match : subviewsMatchingPredicate(view, isOfClass))
    found.push_back(std::dynamic_pointer_cast<View>(match));
  return found;
}

}  // namespace tasklane

#include "view-utilities/UIView+TasklaneExtensions.h"

#include "foundation/base/NSLog.h"

namespace tasklane {

namespace {

const char* identifierForAttribute(NSLayoutAttribute attribute) {
  switch (attribute) {
    case NSLayoutAttribute::Top:
    case NSLayoutAttribute::TopMargin:
      return TasklaneHuggingConstraintIdentifierTop;
    case NSLayoutAttribute::Bottom:
    case NSLayoutAttribute::BottomMargin:
      return TasklaneHuggingConstraintIdentifierBottom;
    case NSLayoutAttribute::Leading:
    case NSLayoutAttribute::LeadingMargin:
      return TasklaneHuggingConstraintIdentifierLeading;
    case NSLayoutAttribute::Trailing:
    case NSLayoutAttribute::TrailingMargin:
      return TasklaneHuggingConstraintIdentifierTrailing;
    default:
      return nullptr;
  }
}

void append(NSLayoutConstraints& list, const char* format, const std::shared_ptr<UIView>& subview) {
  const auto more = NSLayoutConstraint::constraintsWithVisualFormat(format, {{"subview", subview}});
  list.insert(list.end(), more.begin(), more.end());
}

}  // namespace

std::shared_ptr<UIView> findFirstResponderStartingAtView(const std::shared_ptr<UIView>& view) {
  if (!view || view->isFirstResponder()) return view;
  const auto& subviews = view->subviews();
  const auto count = subviews.size();
  for (std::size_t i = 0; i < count; ++i) {
    const auto subview = subviews[i];
    if (auto found = findFirstResponderStartingAtView(subview)) return found;
    TASKLANE_ASSERT(subviews.size() == count && subviews[i] == subview,
                    "the subviews stay as they are during the search", "UIView+TasklaneExtensions",
                    __LINE__);
  }
  return nullptr;
}

std::shared_ptr<UITableViewCell> enclosingTableViewCell(const std::shared_ptr<UIView>& view) {
  return containingViewOfClass<UITableViewCell>(view);
}

std::shared_ptr<UICollectionViewCell> enclosingCollectionViewCell(
    const std::shared_ptr<UIView>& view) {
  return containingViewOfClass<UICollectionViewCell>(view);
}

NSLayoutConstraints constraintsToHugSubview(UIView&, const std::shared_ptr<UIView>& subview,
                                            bool preferHorizontalLayoutMargin,
                                            bool preferVerticalLayoutMargin) {
  subview->setTranslatesAutoresizingMaskIntoConstraints(false);
  NSLayoutConstraints constraints;
  append(constraints, preferHorizontalLayoutMargin ? "H:|-[subview]-|" : "H:|[subview]|", subview);
  append(constraints, preferVerticalLayoutMargin ? "V:|-[subview]-|" : "V:|[subview]|", subview);
  for (const auto& constraint : constraints)
    if (const char* identifier = identifierForAttribute(constraint->firstAttribute()))
      constraint->setIdentifier(identifier);
  return constraints;
}

void addConstraintsToHugSubview(UIView& view, const std::shared_ptr<UIView>& subview,
                                bool preferHorizontalLayoutMargin,
                                bool preferVerticalLayoutMargin) {
  NSLayoutConstraint::activateConstraints(constraintsToHugSubview(
      view, subview, preferHorizontalLayoutMargin, preferVerticalLayoutMargin));
}

NSLayoutConstraints standardSpacingConstraintsForSubview(UIView& view,
                                                         const std::shared_ptr<UIView>& subview) {
  return constraintsToHugSubview(view, subview, true, true);
}

void addStandardSpacingConstraintsForSubview(UIView& view, const std::shared_ptr<UIView>& subview) {
  addConstraintsToHugSubview(view, subview, true, true);
}

NSLayoutConstraints huggingConstraintsForSubview(UIView& view,
                                                 const std::shared_ptr<UIView>& subview) {
  return constraintsToHugSubview(view, subview, false, false);
}

void addHuggingConstraintsForSubview(UIView& view, const std::shared_ptr<UIView>& subview) {
  addConstraintsToHugSubview(view, subview, false, false);
}

std::shared_ptr<UIView> commonAncestorWithView(const std::shared_ptr<UIView>& view,
                                               const std::shared_ptr<UIView>& other) {
  if (!other) return nullptr;
  auto ancestor = view;
  while (ancestor && !other->isDescendantOfView(ancestor.get())) ancestor = ancestor->superview();
  return ancestor;
}

std::vector<std::shared_ptr<UIView>> subviewsMatchingPredicate(
    const std::shared_ptr<UIView>& view,
    const std::function<bool(const std::shared_ptr<UIView>&)>& predicate) {
  std::vector<std::shared_ptr<UIView>> matching;
  applyToViewTree(view, [&](const std::shared_ptr<UIView>& visited) {
    if (predicate(visited)) matching.push_back(visited);
    return KUIViewVisit::EnterSubviews;
  });
  return matching;
}

}  // namespace tasklane

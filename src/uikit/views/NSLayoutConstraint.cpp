#include "uikit/views/NSLayoutConstraint.h"

#include "uikit/base/ProgrammingError.h"
#include "uikit/views/UIView.h"
#include "uikit/views/internal/ConstraintLayout.h"

namespace tasklane {

NSLayoutConstraint::NSLayoutConstraint(const std::shared_ptr<UIView>& firstItem,
                                       NSLayoutAttribute firstAttribute, NSLayoutRelation relation,
                                       const std::shared_ptr<UIView>& secondItem,
                                       NSLayoutAttribute secondAttribute, CGFloat multiplier,
                                       CGFloat constant)
    : firstItem_(firstItem),
      secondItem_(secondItem),
      firstAttribute_(firstAttribute),
      secondAttribute_(secondAttribute),
      relation_(relation),
      multiplier_(multiplier),
      constant_(constant) {
  if (!firstItem || firstAttribute == NSLayoutAttribute::NotAnAttribute) {
    detail::programmingError("a layout constraint needs a first view and an attribute of it");
  }
  if ((secondItem != nullptr) != (secondAttribute != NSLayoutAttribute::NotAnAttribute)) {
    detail::programmingError(
        "a layout constraint has a second view and an attribute of it, or neither");
  }
}

std::vector<std::shared_ptr<NSLayoutConstraint>> NSLayoutConstraint::constraintsWithVisualFormat(
    const std::string& format, const std::map<std::string, std::shared_ptr<UIView>>& views) {
  const auto open = format.find('['), close = format.find(']');
  const bool horizontal = format.starts_with("H:"), vertical = format.starts_with("V:");
  if ((!horizontal && !vertical) || open == std::string::npos || close == std::string::npos ||
      close < open) {
    detail::programmingError("visual format not known: " + format);
  }
  const std::string before = format.substr(2, open - 2), after = format.substr(close + 1);
  const bool margins = before == "|-" && after == "-|";
  if (!margins && (before != "|" || after != "|")) {
    detail::programmingError("visual format not known: " + format);
  }
  const auto named = views.find(format.substr(open + 1, close - open - 1));
  if (named == views.end() || !named->second) {
    detail::programmingError("visual format names a view that was not given: " + format);
  }
  const auto view = named->second, superview = view->superview();
  if (!superview) {
    detail::programmingError("visual format pins a view that has no superview: " + format);
  }
  using Attribute = NSLayoutAttribute;
  const auto from = horizontal ? Attribute::Leading : Attribute::Top;
  const auto to = horizontal ? Attribute::Trailing : Attribute::Bottom;
  const auto outerFrom =
      !margins ? from : (horizontal ? Attribute::LeadingMargin : Attribute::TopMargin);
  const auto outerTo =
      !margins ? to : (horizontal ? Attribute::TrailingMargin : Attribute::BottomMargin);
  const auto equal = NSLayoutRelation::Equal;
  return {std::make_shared<NSLayoutConstraint>(view, from, equal, superview, outerFrom, 1, 0),
          std::make_shared<NSLayoutConstraint>(superview, outerTo, equal, view, to, 1, 0)};
}

void NSLayoutConstraint::activateConstraints(
    const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) constraint->setActive(true);
}

void NSLayoutConstraint::setActive(bool active) {
  if (active == isActive()) return;
  const auto self = sharedFrom(this);
  if (active) {
    if (const auto reason = detail::whyNotLaidOut(*this))
      detail::programmingError("a layout constraint cannot be activated: " + *reason +
                               "; what can is a pin of a view's edge to its superview's");
    const auto first = firstItem(), second = secondItem();
    holder_ = first->superview() == second ? second : first;
  }
  const auto holder = holder_.lock();
  if (active) {
    holder->constraints_.push_back(self);
  } else {
    std::erase(holder->constraints_, self);
    holder_.reset();
  }
  holder->setNeedsLayout();
}

}  // namespace tasklane

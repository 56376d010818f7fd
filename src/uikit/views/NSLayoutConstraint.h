#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "foundation/base/NSObject.h"
#include "uikit/base/CGGeometry.h"

namespace tasklane {

class UIView;

/// The platform's numbering of a view's layout attributes.
enum class NSLayoutAttribute {
  NotAnAttribute = 0,
  Left = 1,
  Right,
  Top,
  Bottom,
  Leading,
  Trailing,
  Width,
  Height,
  CenterX,
  CenterY,
  LastBaseline,
  FirstBaseline,
  LeftMargin,
  RightMargin,
  TopMargin,
  BottomMargin,
  LeadingMargin,
  TrailingMargin,
  CenterXWithinMargins,
  CenterYWithinMargins
};
enum class NSLayoutRelation { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };

/// first.attribute (relation) second.attribute × multiplier + constant, in points. It has an effect
/// while it is active: the next layout pass places the subview by it. What can be active is a pin:
/// an edge or margin of a view equals an edge or margin of its superview plus a constant.
/// Activating any other constraint is a programming error that says what is wrong. A view that
/// translates its autoresizing mask keeps its frame. A constraint holds its views weakly; the
/// superview holds the active constraint. A direction in which one edge alone is pinned keeps its
/// length, one without pins its place too; of two pins of one edge the earlier counts. Leading and
/// trailing follow the layout direction. Main thread.
class NSLayoutConstraint : public NSObject {
 public:
  NSLayoutConstraint(const std::shared_ptr<UIView>& firstItem, NSLayoutAttribute firstAttribute,
                     NSLayoutRelation relation, const std::shared_ptr<UIView>& secondItem,
                     NSLayoutAttribute secondAttribute, CGFloat multiplier, CGFloat constant);

  /// The constraints of a visual format over the named views. The four formats that pin one view to
  /// its superview are known: "H:|[x]|", "H:|-[x]-|", "V:|[x]|", "V:|-[x]-|" (the dash is the
  /// standard spacing to the superview's layout margins). Any other format is a programming error
  /// and says so.
  static std::vector<std::shared_ptr<NSLayoutConstraint>> constraintsWithVisualFormat(
      const std::string& format, const std::map<std::string, std::shared_ptr<UIView>>& views);

  static void activateConstraints(
      const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints);

  std::shared_ptr<UIView> firstItem() const { return firstItem_.lock(); }
  std::shared_ptr<UIView> secondItem() const { return secondItem_.lock(); }
  NSLayoutAttribute firstAttribute() const { return firstAttribute_; }
  NSLayoutAttribute secondAttribute() const { return secondAttribute_; }
  NSLayoutRelation relation() const { return relation_; }
  CGFloat multiplier() const { return multiplier_; }
  CGFloat constant() const { return constant_; }
  bool isActive() const { return !holder_.expired(); }
  void setActive(bool active);
  const std::string& identifier() const { return identifier_; }
  void setIdentifier(std::string identifier) { identifier_ = std::move(identifier); }

 private:
  std::weak_ptr<UIView> firstItem_, secondItem_, holder_;
  NSLayoutAttribute firstAttribute_, secondAttribute_;
  NSLayoutRelation relation_;
  CGFloat multiplier_, constant_;
  std::string identifier_;
};

}  // namespace tasklane

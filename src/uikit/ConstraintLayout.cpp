#include "uikit/ConstraintLayout.h"

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

#include "uikit/LinearSystem.h"
#include "uikit/NSLayoutConstraint.h"
#include "uikit/UIView.h"

namespace tasklane::detail {
namespace {

using Attribute = NSLayoutAttribute;

/// Whether a constraint of the view speaks of the view's subviews, not of the view alone.
bool speaksOfSubviews(const UIView& view, const NSLayoutConstraint& constraint) {
  return constraint.firstItem().get() != &view ||
         (constraint.secondItem() && constraint.secondItem().get() != &view);
}

bool isByReadingDirection(Attribute attribute) {
  return attribute == Attribute::Leading || attribute == Attribute::Trailing ||
         attribute == Attribute::LeadingMargin || attribute == Attribute::TrailingMargin;
}

/// The layout of one view's subviews as a linear system. Variables 0 and 1 are the view's width and
/// height; each subview that takes part adds x, width, y and height.
///
/// Precedence: frames and sizes that are given, equalities, inequalities, "at least the natural
/// size", "the natural size", the size to fit, the present frame. An inequality enters only when
/// the solution breaks it, and then as an equality: it holds at its edge.
class ConstraintLayout {
 public:
  enum class Purpose { Place, Fit };

  ConstraintLayout(UIView& view, Purpose purpose, CGSize target)
      : view_(view), purpose_(purpose), target_(target) {
    mirrors_ =
        view.effectiveUserInterfaceLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
    collect();
  }

  bool isEmpty() const { return constraints_.empty(); }

  void place() {
    const LinearSystem system = solveWithWrapping();
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      if (parts_[i].isFixed) continue;
      const auto value = [&](std::size_t j) {
        return system.value(LinearExpression::variable(variable(i, j)));
      };
      parts_[i].view->setFrame(
          {value(kX), value(kY), std::max(0.0, value(kWidth)), std::max(0.0, value(kHeight))});
    }
  }

  CGSize fittingSize() {
    const LinearSystem system = solveWithWrapping();
    return {system.value(LinearExpression::variable(0)),
            system.value(LinearExpression::variable(1))};
  }

 private:
  static constexpr std::size_t kX = 0, kWidth = 1, kY = 2, kHeight = 3;

  struct Part {
    std::shared_ptr<UIView> view;
    bool isFixed;        ///< it keeps its frame
    CGSize naturalSize;  ///< UIViewNoIntrinsicMetric where there is none
  };
  struct Bound {
    LinearExpression expression;  ///< not below 0
    bool isBroken = false;
  };

  static std::size_t variable(std::size_t part, std::size_t which) { return 2 + 4 * part + which; }
  std::size_t variableCount() const { return 2 + 4 * parts_.size(); }

  void collect() {
    for (const auto& constraint : view_.constraints()) {
      if (speaksOfSubviews(view_, *constraint) || purpose_ == Purpose::Fit) take(constraint);
    }
    for (const auto& subview : view_.subviews()) {
      if (subview->translatesAutoresizingMaskIntoConstraints()) continue;
      for (const auto& constraint : subview->constraints()) {
        if (!speaksOfSubviews(*subview, *constraint)) take(constraint);
      }
    }
  }

  void take(const std::shared_ptr<const NSLayoutConstraint>& constraint) {
    const auto first = constraint->firstItem(), second = constraint->secondItem();
    if (!first || (!second && constraint->secondAttribute() != Attribute::NotAnAttribute)) return;
    for (const auto& item : {first, second}) {
      if (!item || item.get() == &view_ || indexes_.contains(item.get())) continue;
      indexes_[item.get()] = parts_.size();
      const bool isFixed = item->translatesAutoresizingMaskIntoConstraints();
      parts_.push_back({item, isFixed, isFixed ? CGSize{-1, -1} : naturalSizeOf(*item)});
    }
    constraints_.push_back(constraint);
  }

  static bool arrangesSubviews(const UIView& view) {
    return std::any_of(view.constraints().begin(), view.constraints().end(),
                       [&](const auto& constraint) { return speaksOfSubviews(view, *constraint); });
  }

  static CGSize naturalSizeOf(UIView& view) {
    CGSize size = view.intrinsicContentSize();
    if ((size.width < 0 || size.height < 0) && arrangesSubviews(view)) {
      const CGSize fit = view.systemLayoutSizeFittingSize(UILayoutFittingCompressedSize);
      if (size.width < 0) size.width = fit.width;
      if (size.height < 0) size.height = fit.height;
    }
    return size;
  }

  static CGFloat naturalHeightForWidth(UIView& view, CGFloat width) {
    const CGFloat height = view.intrinsicContentHeightForWidth(width);
    if (height >= 0 || !arrangesSubviews(view)) return height;
    return view.systemLayoutSizeFittingSize({width, 0}).height;
  }

  LinearExpression edge(const UIView& item, bool horizontal, bool atEnd) const {
    if (&item == &view_) {
      return atEnd ? LinearExpression::variable(horizontal ? 0 : 1) : LinearExpression(0);
    }
    const std::size_t part = indexes_.at(&item);
    auto result = LinearExpression::variable(variable(part, horizontal ? kX : kY));
    if (atEnd)
      result.add(LinearExpression::variable(variable(part, horizontal ? kWidth : kHeight)));
    return result;
  }

  LinearExpression horizontal(const UIView& item, Attribute attribute, bool mirrored) const {
    const UIEdgeInsets margins = item.layoutMargins();
    const auto left = edge(item, true, false), right = edge(item, true, true);
    const auto leftMargin = left + LinearExpression(margins.left);
    const auto rightMargin = right - LinearExpression(margins.right);
    const auto position = [&]() -> LinearExpression {
      switch (attribute) {
        case Attribute::Left:
          return left;
        case Attribute::Right:
          return right;
        case Attribute::Leading:
          return mirrored ? right : left;
        case Attribute::Trailing:
          return mirrored ? left : right;
        case Attribute::LeftMargin:
          return leftMargin;
        case Attribute::RightMargin:
          return rightMargin;
        case Attribute::LeadingMargin:
          return mirrored ? rightMargin : leftMargin;
        case Attribute::TrailingMargin:
          return mirrored ? leftMargin : rightMargin;
        case Attribute::CenterXWithinMargins:
          return (leftMargin + rightMargin) * 0.5;
        default:
          return (left + right) * 0.5;
      }
    }();
    return mirrored ? LinearExpression::variable(0) - position : position;
  }

  LinearExpression expression(const UIView& item, Attribute attribute, bool mirrored) const {
    const UIEdgeInsets margins = item.layoutMargins();
    const auto top = edge(item, false, false), bottom = edge(item, false, true);
    switch (attribute) {
      case Attribute::Width:
        return edge(item, true, true) - edge(item, true, false);
      case Attribute::Height:
        return bottom - top;
      case Attribute::Top:
        return top;
      case Attribute::Bottom:
        return bottom;
      case Attribute::CenterY:
        return (top + bottom) * 0.5;
      case Attribute::TopMargin:
        return top + LinearExpression(margins.top);
      case Attribute::BottomMargin:
        return bottom - LinearExpression(margins.bottom);
      case Attribute::CenterYWithinMargins:
        return (top + bottom + LinearExpression(margins.top - margins.bottom)) * 0.5;
      case Attribute::LastBaseline:
        return bottom - LinearExpression(item.lastBaselineOffset());
      case Attribute::FirstBaseline:
        // Without a text the baseline is the bottom, wherever that will be.
        return item.firstBaselineOffset() == item.frame().size.height
                   ? bottom
                   : top + LinearExpression(item.firstBaselineOffset());
      default:
        return horizontal(item, attribute, mirrored);
    }
  }

  /// First attribute minus what it is compared with.
  LinearExpression difference(const NSLayoutConstraint& constraint) const {
    const bool mirrored = mirrors_ && (isByReadingDirection(constraint.firstAttribute()) ||
                                       isByReadingDirection(constraint.secondAttribute()));
    auto result = expression(*constraint.firstItem(), constraint.firstAttribute(), mirrored);
    if (const auto second = constraint.secondItem()) {
      result.add(expression(*second, constraint.secondAttribute(), mirrored),
                 -constraint.multiplier());
    }
    return result.add(LinearExpression(constraint.constant()), -1);
  }

  void addGiven(LinearSystem& system) const {
    const auto give = [&](std::size_t index, double value) {
      system.addEquation(LinearExpression::variable(index) - LinearExpression(value));
    };
    if (purpose_ == Purpose::Place) {
      give(0, view_.bounds().size.width);
      give(1, view_.bounds().size.height);
    }
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      if (!parts_[i].isFixed) continue;
      const CGRect frame = parts_[i].view->frame();
      give(variable(i, kX), frame.origin.x);
      give(variable(i, kWidth), frame.size.width);
      give(variable(i, kY), frame.origin.y);
      give(variable(i, kHeight), frame.size.height);
    }
    for (const auto& constraint : constraints_) {
      if (constraint->relation() == NSLayoutRelation::Equal) {
        system.addEquation(difference(*constraint));
      }
    }
    if (purpose_ != Purpose::Fit) return;
    if (target_.width > 0) give(0, target_.width);
    if (target_.height > 0) give(1, target_.height);
  }

  void addWishes(LinearSystem& system) const {
    const auto wish = [&](std::size_t index, double value) {
      system.addEquation(LinearExpression::variable(index) - LinearExpression(value));
    };
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      const CGSize natural = parts_[i].naturalSize;
      if (natural.width >= 0) wish(variable(i, kWidth), natural.width);
      if (natural.height >= 0) wish(variable(i, kHeight), natural.height);
    }
    wish(0, target_.width);
    wish(1, target_.height);
    for (const std::size_t which : {kWidth, kHeight, kX, kY}) {
      for (std::size_t i = 0; i < parts_.size(); ++i) {
        const CGRect frame = parts_[i].view->frame();
        const double present[] = {frame.origin.x, frame.size.width, frame.origin.y,
                                  frame.size.height};
        wish(variable(i, which), present[which]);
      }
    }
  }

  std::vector<Bound> inequalities() const {
    std::vector<Bound> bounds;
    for (const auto& constraint : constraints_) {
      if (constraint->relation() == NSLayoutRelation::Equal) continue;
      const bool atLeast = constraint->relation() == NSLayoutRelation::GreaterThanOrEqual;
      bounds.push_back({difference(*constraint) * (atLeast ? 1 : -1)});
    }
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      bounds.push_back({LinearExpression::variable(variable(i, kWidth))});
      bounds.push_back({LinearExpression::variable(variable(i, kHeight))});
    }
    return bounds;
  }

  std::vector<Bound> naturalSizesAtLeast() const {
    std::vector<Bound> bounds;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      const CGSize natural = parts_[i].naturalSize;
      const auto atLeast = [&](std::size_t which, CGFloat length) {
        if (length < 0) return;
        bounds.push_back(
            {LinearExpression::variable(variable(i, which)) - LinearExpression(length)});
      };
      atLeast(kWidth, natural.width);
      atLeast(kHeight, natural.height);
    }
    return bounds;
  }

  /// Marks the bound that the solution breaks most; false when it breaks none that is new.
  static bool markMostBroken(std::vector<Bound>& bounds, const LinearSystem& system) {
    Bound* worst = nullptr;
    double worstValue = -1e-6;
    for (auto& bound : bounds) {
      if (bound.isBroken) continue;
      const double value = system.value(bound.expression);
      if (value >= worstValue) continue;
      worst = &bound;
      worstValue = value;
    }
    if (worst) worst->isBroken = true;
    return worst != nullptr;
  }

  LinearSystem solve() const {
    LinearSystem given(variableCount());
    addGiven(given);
    auto required = inequalities(), natural = naturalSizesAtLeast();
    while (true) {
      LinearSystem system = given;
      for (const auto* bounds : {&required, &natural}) {
        for (const auto& bound : *bounds) {
          if (bound.isBroken) system.addEquation(bound.expression);
        }
      }
      addWishes(system);
      if (!markMostBroken(required, system) && !markMostBroken(natural, system)) return system;
    }
  }

  /// Solves; where a width makes a content wrap to another height, once more with that height.
  LinearSystem solveWithWrapping() {
    LinearSystem system = solve();
    bool wraps = false;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      Part& part = parts_[i];
      if (part.isFixed || part.naturalSize.height < 0) continue;
      const CGFloat width = system.value(LinearExpression::variable(variable(i, kWidth)));
      const CGFloat height = naturalHeightForWidth(*part.view, width);
      if (height < 0 || height == part.naturalSize.height) continue;
      part.naturalSize.height = height;
      wraps = true;
    }
    return wraps ? solve() : system;
  }

  UIView& view_;
  Purpose purpose_;
  CGSize target_;
  bool mirrors_ = false;
  std::vector<Part> parts_;
  std::map<const UIView*, std::size_t> indexes_;
  std::vector<std::shared_ptr<const NSLayoutConstraint>> constraints_;
};

}  // namespace

void placeSubviewsByConstraints(UIView& view) {
  ConstraintLayout layout(view, ConstraintLayout::Purpose::Place, view.bounds().size);
  if (!layout.isEmpty()) layout.place();
}

CGSize sizeFittingConstraints(UIView& view, CGSize target) {
  ConstraintLayout layout(view, ConstraintLayout::Purpose::Fit, target);
  const CGSize natural = view.intrinsicContentSize();
  if (!layout.isEmpty()) {
    const CGSize fit = layout.fittingSize();
    return {std::max(fit.width, natural.width), std::max(fit.height, natural.height)};
  }
  return {natural.width >= 0 ? natural.width : target.width,
          natural.height >= 0 ? natural.height : target.height};
}

}  // namespace tasklane::detail

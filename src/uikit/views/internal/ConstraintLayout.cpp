#include "uikit/views/internal/ConstraintLayout.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <vector>

#include "uikit/views/NSLayoutConstraint.h"
#include "uikit/views/UIView.h"

namespace tasklane::detail {
namespace {

using Attribute = NSLayoutAttribute;

struct Edge {
  bool isHorizontal;
  bool isEnd;  ///< right or bottom
  bool isMargin;
  bool isByReadingDirection;  ///< leading or trailing
};

/// The edge that an attribute names where text runs from left to right; none for attributes that
/// are no edges. The margins are numbered as the edges are, and each end follows its start.
std::optional<Edge> edgeOf(Attribute attribute) {
  const bool margin = attribute >= Attribute::LeftMargin;
  const auto edge =
      margin ? Attribute(int(attribute) - int(Attribute::LeftMargin) + int(Attribute::Left))
             : attribute;
  if (edge < Attribute::Left || edge > Attribute::Trailing) return {};
  return Edge{edge != Attribute::Top && edge != Attribute::Bottom, int(edge) % 2 == 0, margin,
              edge >= Attribute::Leading};
}

/// How far the edge or margin lies from the edge itself, to the right or downwards.
CGFloat marginBehind(const UIView& view, const Edge& edge) {
  if (!edge.isMargin) return 0;
  const UIEdgeInsets margins = view.layoutMargins();
  if (edge.isHorizontal) return edge.isEnd ? -margins.right : margins.left;
  return edge.isEnd ? -margins.bottom : margins.top;
}

/// Where one edge of a subview has to be: at a distance from an edge of its superview.
struct Pin {
  const UIView* subview;
  Edge edge, outer;
  CGFloat distance;
};

std::optional<Pin> pinOf(const UIView& superview, const NSLayoutConstraint& constraint) {
  const auto first = constraint.firstItem(), second = constraint.secondItem();
  if (!first || !second) return {};
  auto firstEdge = edgeOf(constraint.firstAttribute());
  auto secondEdge = edgeOf(constraint.secondAttribute());
  if (!firstEdge || !secondEdge) return {};
  const bool mirrored = superview.effectiveUserInterfaceLayoutDirection() ==
                            UIUserInterfaceLayoutDirection::RightToLeft &&
                        (firstEdge->isByReadingDirection || secondEdge->isByReadingDirection);
  for (Edge* const edge : {&*firstEdge, &*secondEdge})
    if (mirrored && edge->isByReadingDirection) edge->isEnd = !edge->isEnd;
  const bool subviewIsFirst = second.get() == &superview;
  const UIView& subview = subviewIsFirst ? *first : *second;
  const Edge &edge = subviewIsFirst ? *firstEdge : *secondEdge,
             &outer = subviewIsFirst ? *secondEdge : *firstEdge;
  const CGFloat constant = constraint.constant() * (subviewIsFirst == mirrored ? -1 : 1);
  return Pin{&subview, edge, outer,
             constant + marginBehind(superview, outer) - marginBehind(subview, edge)};
}

/// A subview's pins in one direction; of two at the same edge the earlier counts.
struct Span {
  std::optional<Pin> start, end;

  void place(CGFloat outerLength, CGFloat& origin, CGFloat& length) const {
    const auto position = [&](const Pin& pin) {
      return (pin.outer.isEnd ? outerLength : 0) + pin.distance;
    };
    if (start && end) length = std::max(0.0, position(*end) - position(*start));
    if (start)
      origin = position(*start);
    else if (end)
      origin = position(*end) - length;
  }
  /// What the superview has beyond the subview, where the subview spans it from edge to edge.
  std::optional<CGFloat> lengthAround() const {
    if (!start || !end || start->outer.isEnd || !end->outer.isEnd) return {};
    return start->distance - end->distance;
  }
};

struct Spans {
  Span horizontal, vertical;
};

std::unordered_map<const UIView*, Spans> pinsIn(const UIView& view) {
  std::unordered_map<const UIView*, Spans> spans;
  for (const auto& constraint : view.constraints()) {
    const auto pin = pinOf(view, *constraint);
    if (!pin || pin->subview->translatesAutoresizingMaskIntoConstraints()) continue;
    auto& both = spans[pin->subview];
    Span& span = pin->edge.isHorizontal ? both.horizontal : both.vertical;
    auto& place = pin->edge.isEnd ? span.end : span.start;
    if (!place) place = pin;
  }
  return spans;
}

}  // namespace

std::optional<std::string> whyNotLaidOut(const NSLayoutConstraint& constraint) {
  const auto first = constraint.firstItem(), second = constraint.secondItem();
  if (!first || !second) return "it has no two views";
  if (first->superview() != second && second->superview() != first)
    return "its views are not superview and subview";
  if (constraint.relation() != NSLayoutRelation::Equal || constraint.multiplier() != 1)
    return "it is no equality with the multiplier 1";
  const auto firstEdge = edgeOf(constraint.firstAttribute());
  const auto secondEdge = edgeOf(constraint.secondAttribute());
  if (!firstEdge || !secondEdge || firstEdge->isHorizontal != secondEdge->isHorizontal)
    return "its attributes are not edges or margins of one direction";
  return {};
}

void placeSubviewsByConstraints(UIView& view) {
  if (view.constraints().empty()) return;
  const auto pins = pinsIn(view);
  const CGSize size = view.bounds().size;
  for (const auto subviews = view.subviews(); const auto& subview : subviews) {
    const auto found = pins.find(subview.get());
    if (found == pins.end()) continue;
    CGRect frame = subview->frame();
    found->second.horizontal.place(size.width, frame.origin.x, frame.size.width);
    found->second.vertical.place(size.height, frame.origin.y, frame.size.height);
    subview->setFrame(frame);
  }
}

CGSize sizeFittingConstraints(UIView& view, CGSize target) {
  CGSize size = view.intrinsicContentSize();
  if (size.height >= 0 && target.width > 0) size = view.sizeThatFits({target.width, CGFLOAT_MAX});
  const auto pins = pinsIn(view);
  for (const auto subviews = view.subviews(); const auto& subview : subviews) {
    const auto found = pins.find(subview.get());
    if (found == pins.end()) continue;
    const auto across = found->second.horizontal.lengthAround();
    const auto down = found->second.vertical.lengthAround();
    const auto inner = [](CGFloat length, const std::optional<CGFloat>& around) {
      return length > 0 && around ? std::max<CGFloat>(length - *around, 0) : 0;
    };
    const CGSize fit = subview->systemLayoutSizeFittingSize(
        {inner(target.width, across), inner(target.height, down)});
    if (across) size.width = std::max(size.width, fit.width + *across);
    if (down) size.height = std::max(size.height, fit.height + *down);
  }
  if (pins.empty() && size.width >= 0) target.width = 0;
  if (pins.empty() && size.height >= 0) target.height = 0;
  return {std::max(size.width, target.width), std::max(size.height, target.height)};
}

}  // namespace tasklane::detail

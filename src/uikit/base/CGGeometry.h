#pragma once

#include <algorithm>
#include <limits>

namespace tasklane {

/// Lengths are points: the unit of layout, independent of the screen's scale.
using CGFloat = double;
inline constexpr CGFloat CGFLOAT_MAX = std::numeric_limits<double>::max();

/// A place in points, y growing downwards.
struct CGPoint {
  CGFloat x = 0, y = 0;
  bool operator==(const CGPoint&) const = default;
};

struct CGSize {
  CGFloat width = 0, height = 0;
  bool operator==(const CGSize&) const = default;
};

/// Distances from the four edges inwards.
struct UIEdgeInsets {
  CGFloat top = 0, left = 0, bottom = 0, right = 0;
  bool operator==(const UIEdgeInsets&) const = default;
};

/// Origin is the top left corner; y grows downwards.
struct CGRect {
  CGPoint origin;
  CGSize size;

  constexpr CGRect() = default;
  constexpr CGRect(CGPoint o, CGSize s) : origin(o), size(s) {}
  constexpr CGRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height)
      : origin{x, y}, size{width, height} {}

  CGFloat minX() const { return origin.x; }
  CGFloat midX() const { return origin.x + size.width / 2; }
  CGFloat maxX() const { return origin.x + size.width; }
  CGFloat minY() const { return origin.y; }
  CGFloat midY() const { return origin.y + size.height / 2; }
  CGFloat maxY() const { return origin.y + size.height; }
  bool contains(CGPoint p) const {
    return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
  }
  CGRect insetBy(const UIEdgeInsets& i) const {
    return {minX() + i.left, minY() + i.top, size.width - i.left - i.right,
            size.height - i.top - i.bottom};
  }
  bool operator==(const CGRect&) const = default;
};

/// Which side of a screen a line begins at.
enum class UIUserInterfaceLayoutDirection { LeftToRight = 0, RightToLeft = 1 };

}  // namespace tasklane

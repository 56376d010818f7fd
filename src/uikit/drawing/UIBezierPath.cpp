#include "uikit/drawing/UIBezierPath.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uikit/drawing/UIGraphics.h"

namespace tasklane {
namespace {

using detail::Polygon;

constexpr CGFloat kMiterLimit = 10;

CGPoint operator+(CGPoint a, CGPoint b) { return {a.x + b.x, a.y + b.y}; }
CGPoint operator-(CGPoint a, CGPoint b) { return {a.x - b.x, a.y - b.y}; }
CGPoint operator*(CGPoint a, CGFloat factor) { return {a.x * factor, a.y * factor}; }
CGFloat cross(CGPoint a, CGPoint b) { return a.x * b.y - a.y * b.x; }
CGFloat dot(CGPoint a, CGPoint b) { return a.x * b.x + a.y * b.y; }

/// The outer wedge between two segments that meet at a point; the directions are of length 1.
Polygon corner(CGPoint at, CGPoint directionIn, CGPoint directionOut, CGFloat halfWidth) {
  const CGFloat turn = cross(directionIn, directionOut);
  const CGFloat side = turn > 0 ? -halfWidth : halfWidth;
  const CGPoint normalIn{-directionIn.y, directionIn.x};
  const CGPoint normalOut{-directionOut.y, directionOut.x};
  Polygon wedge{at, at + normalIn * side};
  // The tip lies half a width, divided by the cosine of half the turn, from the point.
  const CGFloat halfTurnCosine = std::sqrt(std::max(0.0, (1 + dot(directionIn, directionOut)) / 2));
  if (halfTurnCosine > 1 / kMiterLimit) {
    wedge.push_back(at + (normalIn + normalOut) * (side / (2 * halfTurnCosine * halfTurnCosine)));
  }
  wedge.push_back(at + normalOut * side);
  return wedge;
}

/// The area of a stroke along a path, in the path's own units.
std::vector<Polygon> outline(const std::vector<CGPoint>& path, CGFloat width) {
  std::vector<Polygon> areas;
  CGPoint lastDirection;
  for (std::size_t i = 1; i < path.size(); ++i) {
    const CGPoint along = path[i] - path[i - 1];
    const CGFloat length = std::hypot(along.x, along.y);
    if (length == 0) continue;
    const CGPoint direction = along * (1 / length);
    const CGPoint aside = CGPoint{-direction.y, direction.x} * (width / 2);
    if (!areas.empty()) areas.push_back(corner(path[i - 1], lastDirection, direction, width / 2));
    areas.push_back({path[i - 1] + aside, path[i] + aside, path[i] - aside, path[i - 1] - aside});
    lastDirection = direction;
  }
  return areas;
}

}  // namespace

void UIBezierPath::moveToPoint(CGPoint point) { lines_.push_back({point}); }

void UIBezierPath::addLineToPoint(CGPoint point) {
  if (lines_.empty()) lines_.emplace_back();
  lines_.back().push_back(point);
}

void UIBezierPath::stroke(const UIColor& color) const {
  auto* const context = detail::ImageContext::current();
  if (!context) return;
  std::vector<Polygon> areas;
  for (const auto& line : lines_) {
    auto more = outline(line, lineWidth_);
    std::move(more.begin(), more.end(), std::back_inserter(areas));
  }
  context->paint(areas, color);
}

}  // namespace tasklane

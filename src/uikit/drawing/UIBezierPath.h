#pragma once

#include <vector>

#include "uikit/base/CGGeometry.h"
#include "uikit/drawing/UIColor.h"

namespace tasklane {

/// A path of straight lines to draw into an image. Points are those of the image context that is
/// open; without one nothing is drawn. Main thread.
class UIBezierPath {
 public:
  void setLineWidth(CGFloat width) { lineWidth_ = width; }
  /// Begins a new line.
  void moveToPoint(CGPoint point);
  /// Leads the present line on; without one it begins there.
  void addLineToPoint(CGPoint point);
  /// Draws the lines over what is there: ends cut square at the last point, corners pointed.
  void stroke(const UIColor& color) const;

 private:
  std::vector<std::vector<CGPoint>> lines_;
  CGFloat lineWidth_ = 1;
};

}  // namespace tasklane

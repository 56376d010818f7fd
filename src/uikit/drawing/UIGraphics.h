#pragma once

#include <vector>

#include "uikit/base/CGGeometry.h"
#include "uikit/drawing/UIColor.h"
#include "uikit/drawing/UIImage.h"

namespace tasklane::detail {

/// A convex area in points; its corners may go round either way.
using Polygon = std::vector<CGPoint>;

/// The picture that UIGraphicsBeginImageContextWithOptions opened.
class ImageContext {
 public:
  /// The innermost one that is open, or null.
  static ImageContext* current();

  ImageContext(CGSize size, bool opaque, CGFloat scale);

  /// Lays the colour over the pixels as far as the areas, taken together, cover them. Edges are
  /// smooth.
  void paint(const std::vector<Polygon>& areas, const UIColor& color);

  CGFloat scale() const { return scale_; }
  const CGImage& image() const { return image_; }

 private:
  int samplesCovered(const std::vector<Polygon>& areas, int x, int y) const;

  CGFloat scale_;
  CGImage image_;
};

}  // namespace tasklane::detail

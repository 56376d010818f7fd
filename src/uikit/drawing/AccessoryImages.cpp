#include "uikit/drawing/AccessoryImages.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "uikit/base/Backend.h"
#include "uikit/base/UIScreen.h"

namespace tasklane::detail {
namespace {

/// They are shown larger as the text is, and have the pixels for it.
CGFloat pixelsPerPoint() {
  return std::max<CGFloat>(UIScreen::mainScreen().scale(), 1) * backend::textSizeFactor();
}

CGFloat distanceToSegment(CGPoint p, CGPoint a, CGPoint b) {
  const CGFloat dx = b.x - a.x, dy = b.y - a.y;
  const CGFloat along = ((p.x - a.x) * dx + (p.y - a.y) * dy) / (dx * dx + dy * dy);
  const CGFloat t = std::clamp<CGFloat>(along, 0, 1);
  return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

using Line = std::vector<CGPoint>;

/// Round-ended lines through points. A pixel is covered by as much as its middle lies inside.
std::shared_ptr<UIImage> stroke(CGSize size, const std::vector<Line>& lines, CGFloat lineWidth) {
  const CGFloat scale = pixelsPerPoint();
  auto image = std::make_shared<CGImage>();
  image->width = static_cast<int>(std::ceil(size.width * scale));
  image->height = static_cast<int>(std::ceil(size.height * scale));
  for (int y = 0; y < image->height; ++y) {
    for (int x = 0; x < image->width; ++x) {
      const CGPoint middle{(x + 0.5) / scale, (y + 0.5) / scale};
      CGFloat distance = CGFLOAT_MAX;
      for (const Line& points : lines) {
        for (std::size_t i = 0; i + 1 < points.size(); ++i) {
          distance = std::min(distance, distanceToSegment(middle, points[i], points[i + 1]));
        }
      }
      const CGFloat cover = std::clamp<CGFloat>((lineWidth / 2 - distance) * scale + 0.5, 0, 1);
      image->argb.push_back(static_cast<std::uint32_t>(std::lround(cover * 255)) << 24);
    }
  }
  return std::make_shared<UIImage>(std::move(image), scale, UIImageRenderingMode::AlwaysTemplate);
}

template <class Draw>
std::shared_ptr<UIImage> cached(const char* name, const Draw& draw) {
  static std::map<std::pair<std::string, CGFloat>, std::shared_ptr<UIImage>> images;
  auto& image = images[{name, pixelsPerPoint()}];
  if (!image) image = draw();
  return image;
}

}  // namespace

CGSize shownSize(const UIImage& accessory) {
  const CGFloat factor = backend::textSizeFactor();
  return {std::round(accessory.size().width * factor),
          std::round(accessory.size().height * factor)};
}

std::shared_ptr<UIImage> chevronImage(bool leftToRight) {
  return leftToRight ? cached("forward",
                              [] {
                                return stroke({8, 13}, {{{1.2, 1.2}, {6.5, 6.5}, {1.2, 11.8}}}, 2);
                              })
                     : cached("backward", [] {
                         return stroke({8, 13}, {{{6.8, 1.2}, {1.5, 6.5}, {6.8, 11.8}}}, 2);
                       });
}

std::shared_ptr<UIImage> checkmarkImage() {
  return cached("checkmark", [] {
    return stroke({15, 12}, {{{1.2, 6.6}, {5.2, 10.6}, {13.7, 1.3}}}, 2);
  });
}

std::shared_ptr<UIImage> ellipsisImage() {
  return cached("ellipsis", [] {
    return stroke({20, 4}, {{{2, 2}, {2.1, 2}}, {{10, 2}, {10.1, 2}}, {{18, 2}, {18.1, 2}}}, 3.4);
  });
}

std::shared_ptr<UIImage> exclamationImage() {
  return cached("exclamation", [] {
    return stroke({4, 20}, {{{2, 2}, {2, 12.5}}, {{2, 18}, {2.1, 18}}}, 3);
  });
}

}  // namespace tasklane::detail

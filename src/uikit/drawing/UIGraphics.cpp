#include "uikit/drawing/UIGraphics.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "uikit/base/ProgrammingError.h"
#include "uikit/base/UIScreen.h"

namespace tasklane {
namespace {

constexpr int kSamples = 8;  // per pixel and direction

bool contains(const detail::Polygon& polygon, CGPoint point) {
  bool left = false, right = false;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const CGPoint from = polygon[i], to = polygon[(i + 1) % polygon.size()];
    const CGFloat side =
        (to.x - from.x) * (point.y - from.y) - (to.y - from.y) * (point.x - from.x);
    left |= side < 0;
    right |= side > 0;
  }
  return !(left && right);
}

/// A premultiplied pixel with a colour laid over it.
std::uint32_t over(const UIColor& color, double alpha, std::uint32_t below) {
  const double components[] = {1, color.red, color.green, color.blue};
  std::uint32_t result = 0;
  for (int i = 0; i < 4; ++i) {
    const int shift = 24 - 8 * i;
    const double old = (below >> shift & 0xFF) / 255.0;
    const double mixed = std::clamp(components[i] * alpha + old * (1 - alpha), 0.0, 1.0);
    result |= static_cast<std::uint32_t>(std::lround(mixed * 255)) << shift;
  }
  return result;
}

std::vector<std::unique_ptr<detail::ImageContext>>& contexts() {
  static std::vector<std::unique_ptr<detail::ImageContext>> stack;
  return stack;
}

int pixels(CGFloat points, CGFloat scale) {
  return static_cast<int>(std::ceil(points * scale - 1e-6));
}

}  // namespace

namespace detail {

ImageContext* ImageContext::current() {
  return contexts().empty() ? nullptr : contexts().back().get();
}

ImageContext::ImageContext(CGSize size, bool opaque, CGFloat scale)
    : scale_(scale), image_{pixels(size.width, scale), pixels(size.height, scale), {}} {
  image_.argb.assign(
      static_cast<std::size_t>(image_.width) * static_cast<std::size_t>(image_.height),
      opaque ? 0xFF000000u : 0u);
}

void ImageContext::paint(const std::vector<Polygon>& areas, const UIColor& color) {
  auto pixel = image_.argb.begin();
  for (int y = 0; y < image_.height; ++y) {
    for (int x = 0; x < image_.width; ++x, ++pixel) {
      const int covered = samplesCovered(areas, x, y);
      if (covered == 0) continue;
      *pixel = over(color, color.alpha * covered / (kSamples * kSamples), *pixel);
    }
  }
}

int ImageContext::samplesCovered(const std::vector<Polygon>& areas, int x, int y) const {
  int covered = 0;
  for (int i = 0; i < kSamples * kSamples; ++i) {
    const CGPoint sample{(x + (i % kSamples + 0.5) / kSamples) / scale_,
                         (y + (i / kSamples + 0.5) / kSamples) / scale_};
    covered += std::any_of(areas.begin(), areas.end(),
                           [&](const Polygon& area) { return contains(area, sample); });
  }
  return covered;
}

}  // namespace detail

void UIGraphicsBeginImageContextWithOptions(CGSize size, bool opaque, CGFloat scale) {
  contexts().push_back(std::make_unique<detail::ImageContext>(
      size, opaque, scale > 0 ? scale : UIScreen::mainScreen().scale()));
}

std::shared_ptr<UIImage> UIGraphicsGetImageFromCurrentImageContext() {
  const auto* context = detail::ImageContext::current();
  if (!context) return nullptr;
  return std::make_shared<UIImage>(std::make_shared<const CGImage>(context->image()),
                                   context->scale());
}

void UIGraphicsEndImageContext() {
  if (contexts().empty()) {
    detail::programmingError("UIGraphicsEndImageContext without a context that was begun");
  }
  contexts().pop_back();
}

}  // namespace tasklane

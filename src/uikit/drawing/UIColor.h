#pragma once

#include <cstdint>

namespace tasklane {

/// A colour in sRGB, not premultiplied, each component 0 to 1. A value; "no colour" is an empty
/// std::optional.
struct UIColor {
  double red = 0, green = 0, blue = 0, alpha = 1;

  static constexpr UIColor clearColor() { return {0, 0, 0, 0}; }
  static constexpr UIColor blackColor() { return {0, 0, 0, 1}; }
  static constexpr UIColor whiteColor() { return {1, 1, 1, 1}; }
  static constexpr UIColor greenColor() { return {0, 1, 0, 1}; }

  UIColor colorWithAlphaComponent(double newAlpha) const { return {red, green, blue, newAlpha}; }
  /// 0xAARRGGBB, not premultiplied.
  std::uint32_t argb() const;
  bool operator==(const UIColor&) const = default;
};

}  // namespace tasklane

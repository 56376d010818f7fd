#include "uikit/drawing/UIColor.h"

#include <algorithm>
#include <cmath>

namespace tasklane {

std::uint32_t UIColor::argb() const {
  const auto byte = [](double component) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(component, 0.0, 1.0) * 255));
  };
  return byte(alpha) << 24 | byte(red) << 16 | byte(green) << 8 | byte(blue);
}

}  // namespace tasklane

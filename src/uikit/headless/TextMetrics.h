#pragma once

#include <string_view>

#include "uikit/base/CGGeometry.h"

namespace tasklane::headless {

/// The size of a text in fixed metrics, broken at spaces (within a word only where it is longer
/// than a line) and at line breaks.
CGSize measure(std::string_view text, CGFloat pointSize, CGFloat maximumWidth, int numberOfLines);

inline constexpr CGFloat kLineHeight = 1.2;  ///< of the point size

}  // namespace tasklane::headless

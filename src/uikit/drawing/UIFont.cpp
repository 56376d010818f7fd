#include "uikit/drawing/UIFont.h"

#include <cmath>

#include "uikit/base/Backend.h"

namespace tasklane {

UIFont UIFont::systemFontOfSize(CGFloat pointSize, UIFontWeight weight) {
  return {pointSize, weight};
}

UIFont UIFont::preferredFontForTextStyle(UIFontTextStyle style) {
  // In the order of the styles, at the default text size.
  static constexpr CGFloat kSizes[] = {34, 28, 22, 20, 17, 15, 17, 16, 13, 12, 11};
  const CGFloat size = kSizes[static_cast<std::size_t>(style)];
  return {std::round(size * backend::textSizeFactor()),
          style == UIFontTextStyle::Headline ? UIFontWeight::Semibold : UIFontWeight::Regular};
}

CGFloat UIFont::lineHeight() const { return backend::lineHeightOfFont(*this); }

}  // namespace tasklane

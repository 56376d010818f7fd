#pragma once

#include <optional>
#include <string>

#include "uikit/base/CGGeometry.h"

namespace tasklane {

/// A use of text that has a size of its own at every text size the desktop is set to.
enum class UIFontTextStyle {
  LargeTitle,
  Title1,
  Title2,
  Title3,
  Headline,
  Subheadline,
  Body,
  Callout,
  Footnote,
  Caption1,
  Caption2
};
inline constexpr UIFontTextStyle UIFontTextStyleBody = UIFontTextStyle::Body;
inline constexpr UIFontTextStyle UIFontTextStyleFootnote = UIFontTextStyle::Footnote;

enum class UIFontWeight { Regular, Semibold, Bold };

/// A font of the system's family. A value.
class UIFont {
 public:
  static UIFont systemFontOfSize(CGFloat pointSize, UIFontWeight weight = UIFontWeight::Regular);
  /// The font of a style at the desktop's present text size; asked anew on every call.
  static UIFont preferredFontForTextStyle(UIFontTextStyle style);

  CGFloat pointSize() const { return pointSize_; }
  UIFontWeight weight() const { return weight_; }
  /// From baseline to baseline, as the backend measures it.
  CGFloat lineHeight() const;
  bool operator==(const UIFont&) const = default;

 private:
  UIFont(CGFloat pointSize, UIFontWeight weight) : pointSize_(pointSize), weight_(weight) {}
  CGFloat pointSize_;
  UIFontWeight weight_;
};

}  // namespace tasklane

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/controls/UILabel.h"
#include "uikit/drawing/UIColor.h"
#include "uikit/drawing/UIImage.h"
#include "uikit/views/UIView.h"

namespace tasklane {

/// What is shared, as a small picture beside a compose sheet's text: it has its place from when it
/// is announced.
struct SLComposeThumbnail {
  enum class State { Loading, Ready, Failed };
  State state = State::Loading;
  std::shared_ptr<UIImage> image;  ///< when it is ready
  /// What a screen reader says of it, and of its state.
  std::string accessibilityLabel, accessibilityValue;
};

/// The places, four at most in two columns, the last with the number of those that have none.
class SLComposeThumbnailsView : public UIView {
 public:
  static constexpr CGFloat kGap = 6;
  static constexpr std::size_t kMost = 4;

  SLComposeThumbnailsView();

  void setThumbnails(const std::vector<SLComposeThumbnail>& thumbnails);
  void setColors(const std::optional<UIColor>& sign, const UIColor& place);
  /// The width that the places take, of squares of the given side; 0 without any.
  CGFloat widthForSide(CGFloat side) const;
  /// Places them from the reading direction's start.
  void layoutWithSide(CGFloat side, bool leftToRight);

 private:
  std::shared_ptr<UIView> placeOf(const SLComposeThumbnail& thumbnail) const;

  std::vector<SLComposeThumbnail> thumbnails_;
  std::shared_ptr<UILabel> moreLabel_;
  std::optional<UIColor> signColor_;
  UIColor placeColor_;
};

}  // namespace tasklane

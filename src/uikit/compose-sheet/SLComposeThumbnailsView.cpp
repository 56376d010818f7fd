#include "uikit/compose-sheet/SLComposeThumbnailsView.h"

#include <algorithm>

#include "uikit/controls/UIImageView.h"
#include "uikit/drawing/AccessoryImages.h"

namespace tasklane {
namespace {

constexpr CGFloat kCorner = 4;

}  // namespace

SLComposeThumbnailsView::SLComposeThumbnailsView() : moreLabel_(std::make_shared<UILabel>()) {
  moreLabel_->setTextAlignment(NSTextAlignment::Center);
  moreLabel_->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleFootnote));
}

std::shared_ptr<UIView> SLComposeThumbnailsView::placeOf(
    const SLComposeThumbnail& thumbnail) const {
  const auto place = std::make_shared<UIImageView>();
  if (thumbnail.state == SLComposeThumbnail::State::Ready && thumbnail.image) {
    place->setImage(thumbnail.image);
    place->setContentMode(UIViewContentMode::ScaleAspectFill);
  } else {
    const bool isLoading = thumbnail.state == SLComposeThumbnail::State::Loading;
    const bool isFailed = thumbnail.state == SLComposeThumbnail::State::Failed;
    if (isLoading || isFailed) {
      place->setImage(isLoading ? detail::ellipsisImage() : detail::exclamationImage());
    }
    place->setContentMode(UIViewContentMode::Center);
    place->setBackgroundColor(placeColor_);
    if (signColor_) place->setTintColor(*signColor_);
  }
  place->setCornerRadius(kCorner);
  place->setIsAccessibilityElement(true);
  place->setAccessibilityTraits(UIAccessibilityTraitImage);
  place->setAccessibilityLabel(thumbnail.accessibilityLabel);
  if (!thumbnail.accessibilityValue.empty()) {
    place->setAccessibilityValue(thumbnail.accessibilityValue);
  }
  return place;
}

void SLComposeThumbnailsView::setThumbnails(const std::vector<SLComposeThumbnail>& thumbnails) {
  thumbnails_ = thumbnails;
  while (!subviews().empty()) subviews().back()->removeFromSuperview();
  const bool tooMany = thumbnails.size() > kMost;
  const std::size_t shown = tooMany ? kMost - 1 : thumbnails.size();
  for (std::size_t i = 0; i < shown; ++i) addSubview(placeOf(thumbnails[i]));
  if (!tooMany) return;
  // Behind a left-to-right mark the sign stays in front, also on a right-to-left sheet.
  moreLabel_->setText("\u200E+" + std::to_string(thumbnails.size() - shown));
  moreLabel_->setAccessibilityLabel(std::to_string(thumbnails.size() - shown));
  addSubview(moreLabel_);
}

void SLComposeThumbnailsView::setColors(const std::optional<UIColor>& sign, const UIColor& place) {
  signColor_ = sign;
  placeColor_ = place;
  moreLabel_->setTextColor(sign);
  setThumbnails(std::vector(thumbnails_));
}

CGFloat SLComposeThumbnailsView::widthForSide(CGFloat side) const {
  const std::size_t count = subviews().size();
  if (count == 0) return 0;
  return count > 2 ? 2 * side + kGap : side;
}

void SLComposeThumbnailsView::layoutWithSide(CGFloat side, bool leftToRight) {
  const CGFloat step = side + kGap;
  const auto& places = subviews();
  const std::size_t columns = places.size() > 2 ? 2 : 1;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::size_t column = leftToRight ? i % columns : columns - 1 - i % columns;
    places[i]->setFrame({static_cast<CGFloat>(column) * step,
                         static_cast<CGFloat>(i / columns) * step, side, side});
  }
}

}  // namespace tasklane

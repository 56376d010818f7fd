#include <algorithm>
#include <cmath>

#include "uikit/drawing/AccessoryImages.h"
#include "uikit/tables/UITableViewCell.h"
#include "uikit/tables/internal/UITableViewCell_content.h"

// Where a row's parts lie. Lengths are counted from the leading edge; place() mirrors them where
// the interface reads from right to left.

namespace tasklane {
namespace {

constexpr CGFloat kMargin = 15;
constexpr CGFloat kGap = 10;
constexpr CGFloat kImageGap = 15;
constexpr CGFloat kImagePadding = 6;
constexpr CGFloat kLinePadding = 10;
constexpr CGFloat kTwoLinePadding = 7;
constexpr CGFloat kLineGap = 2;
constexpr CGFloat kLeastHeight = 44;
constexpr CGFloat kValue2TitleWidth = 91;
constexpr CGFloat kFocusEdge = 3;
constexpr double kFocusWash = 0.12;

bool hasText(const std::shared_ptr<UILabel>& label) {
  return label && label->text() && !label->text()->empty();
}

CGSize sizeOf(const std::shared_ptr<UILabel>& label, CGFloat width) {
  return hasText(label) ? label->sizeThatFits({std::max<CGFloat>(width, 0), CGFLOAT_MAX})
                        : CGSize{};
}

}  // namespace

CGSize UITableViewCell::ContentView::systemLayoutSizeFittingSize(CGSize targetSize) {
  const auto cell = std::dynamic_pointer_cast<UITableViewCell>(superview());
  const CGSize constrained = UIView::systemLayoutSizeFittingSize(targetSize);
  if (!cell) return constrained;
  const CGSize natural = cell->systemLayoutSizeFittingSize(targetSize);
  return {std::max(natural.width, constrained.width), std::max(natural.height, constrained.height)};
}

void UITableViewCell::ContentView::layoutSubviews() {
  UIView::layoutSubviews();
  const auto cell = superview();
  if (!cell || finishing_) return;
  cell->setNeedsLayout();
  cell->layoutIfNeeded();
}

void UITableViewCell::ContentView::finishPlacing() {
  finishing_ = true;
  layoutIfNeeded();
  finishing_ = false;
}

struct UITableViewCell::TextSizes {
  CGSize title, detail;
};

bool UITableViewCell::isLeftToRight() const {
  return effectiveUserInterfaceLayoutDirection() == UIUserInterfaceLayoutDirection::LeftToRight;
}

void UITableViewCell::place(UIView& view, CGFloat leading, CGFloat y, CGFloat width,
                            CGFloat height) {
  const auto superview = view.superview();
  const CGFloat whole = superview ? superview->bounds().size.width : bounds().size.width;
  view.setFrame({isLeftToRight() ? leading : whole - leading - width, y, width, height});
}

/// What the accessory takes of the row's width, its margins included; without one the margin.
CGFloat UITableViewCell::widthOfAccessory() const {
  return accessory() ? kGap + accessory()->frame().size.width + kMargin : kMargin;
}

CGFloat UITableViewCell::leadingOfTexts() const {
  const auto& image = imageView_->image();
  return image ? kMargin + image->size().width + kImageGap : kMargin;
}

UITableViewCell::TextSizes UITableViewCell::sizesOfTexts(CGFloat room) const {
  switch (style_) {
    case UITableViewCellStyle::Default:
    case UITableViewCellStyle::Subtitle:
      return {sizeOf(textLabel_, room), sizeOf(detailTextLabel_, room)};
    case UITableViewCellStyle::Value1: {
      // The title may take what the value leaves, but at least three fifths.
      const CGFloat detail = sizeOf(detailTextLabel_, room).width;
      const CGFloat gap = detail > 0 ? kGap : 0;
      const CGSize title = sizeOf(textLabel_, std::max(room - detail - gap, room * 0.6));
      return {title, sizeOf(detailTextLabel_, room - std::min(title.width, room) - gap)};
    }
    case UITableViewCellStyle::Value2:
      return {sizeOf(textLabel_, kValue2TitleWidth),
              sizeOf(detailTextLabel_, room - kValue2TitleWidth - kGap)};
  }
  return {};
}

CGFloat UITableViewCell::heightForWidth(CGFloat width) const {
  const CGFloat room = std::max<CGFloat>(width - leadingOfTexts() - widthOfAccessory(), 0);
  const TextSizes sizes = sizesOfTexts(room);
  CGFloat height = std::max(sizes.title.height, sizes.detail.height) + 2 * kLinePadding;
  if (style_ == UITableViewCellStyle::Subtitle && sizes.detail.height > 0) {
    height = sizes.title.height + kLineGap + sizes.detail.height + 2 * kTwoLinePadding;
  }
  if (imageView_->image()) {
    height = std::max(height, imageView_->image()->size().height + 2 * kImagePadding);
  }
  return std::max(std::ceil(height), kLeastHeight);
}

CGSize UITableViewCell::systemLayoutSizeFittingSize(CGSize targetSize) {
  const CGFloat present = bounds().size.width;
  const CGFloat width = targetSize.width > 0 ? targetSize.width : present;
  if (width > 0 && width < CGFLOAT_MAX) return {width, heightForWidth(width)};
  const TextSizes sizes = sizesOfTexts(CGFLOAT_MAX / 4);
  const bool stacked = style_ == UITableViewCellStyle::Subtitle;
  const CGFloat texts = stacked ? std::max(sizes.title.width, sizes.detail.width)
                                : sizes.title.width + kGap + sizes.detail.width;
  const CGFloat natural = leadingOfTexts() + texts + widthOfAccessory();
  return {natural, heightForWidth(natural)};
}

CGSize UITableViewCell::sizeThatFits(CGSize size) {
  return systemLayoutSizeFittingSize({size.width, 0});
}

void UITableViewCell::placeAccessory() {
  const auto& shown = accessory();
  const CGSize whole = bounds().size;
  if (!shown) {
    contentView_->setFrame({{}, whole});
    return;
  }
  if (shown == standardAccessory_ &&
      accessoryType_ == UITableViewCellAccessoryType::DisclosureIndicator) {
    const auto image = std::static_pointer_cast<UIImageView>(standardAccessory_);
    image->setImage(detail::chevronImage(isLeftToRight()));
  }
  const CGSize size = shown->frame().size;
  const CGFloat leading = whole.width - kMargin - size.width;
  place(*shown, leading, std::round((whole.height - size.height) / 2), size.width, size.height);
  place(*contentView_, 0, 0, std::max<CGFloat>(leading - kGap, 0), whole.height);
}

void UITableViewCell::placeTexts() {
  const CGSize whole = contentView_->bounds().size;
  const CGFloat leading = leadingOfTexts();
  const CGFloat room = std::max<CGFloat>(whole.width - leading - (accessory() ? 0 : kMargin), 0);
  if (const auto& image = imageView_->image()) {
    const CGSize size = image->size();
    place(*imageView_, kMargin, std::round((whole.height - size.height) / 2), size.width,
          size.height);
  }
  const TextSizes sizes = sizesOfTexts(room);
  const auto middle = [&](CGFloat height) { return std::round((whole.height - height) / 2); };
  const auto lower = [](CGFloat natural, CGFloat limit) { return std::min(natural, limit); };
  switch (style_) {
    case UITableViewCellStyle::Default:
      place(*textLabel_, leading, 0, room, whole.height);
      break;
    case UITableViewCellStyle::Subtitle: {
      if (sizes.detail.height == 0) {
        place(*textLabel_, leading, 0, room, whole.height);
        place(*detailTextLabel_, leading, whole.height, room, 0);
        break;
      }
      const CGFloat gap = sizes.title.height > 0 ? kLineGap : 0;
      const CGFloat top = middle(sizes.title.height + gap + sizes.detail.height);
      place(*textLabel_, leading, top, room, sizes.title.height);
      place(*detailTextLabel_, leading, top + sizes.title.height + gap, room, sizes.detail.height);
      break;
    }
    case UITableViewCellStyle::Value1: {
      const CGFloat title = lower(sizes.title.width, room);
      const CGFloat detail = lower(sizes.detail.width, room - title);
      place(*textLabel_, leading, 0, title, whole.height);
      place(*detailTextLabel_, leading + room - detail, 0, detail, whole.height);
      break;
    }
    case UITableViewCellStyle::Value2:
      place(*textLabel_, leading, 0, lower(kValue2TitleWidth, room), whole.height);
      place(*detailTextLabel_, leading + kValue2TitleWidth + kGap, 0,
            std::max<CGFloat>(room - kValue2TitleWidth - kGap, 0), whole.height);
      break;
  }
}

void UITableViewCell::layoutSubviews() {
  UIView::layoutSubviews();
  imageView_->setHidden(!imageView_->image());
  if (detailTextLabel_) detailTextLabel_->setHidden(!hasText(detailTextLabel_));
  placeAccessory();
  placeTexts();
  if (shownBackground_) shownBackground_->setFrame(bounds());
  if (focusView_) {
    const CGSize whole = bounds().size;
    focusView_->setFrame(bounds());
    const auto& wash = focusView_->subviews()[0];
    const auto& edge = focusView_->subviews()[1];
    wash->setFrame(bounds());
    wash->setBackgroundColor(tintColor().colorWithAlphaComponent(kFocusWash));
    edge->setBackgroundColor(tintColor());
    place(*edge, 0, 0, kFocusEdge, whole.height);
  }
  placeSeparator();
  static_cast<ContentView&>(*contentView_).finishPlacing();
}

}  // namespace tasklane

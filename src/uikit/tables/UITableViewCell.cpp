#include "uikit/tables/UITableViewCell.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uikit/base/ProgrammingError.h"
#include "uikit/base/UIScreen.h"
#include "uikit/drawing/AccessoryImages.h"
#include "uikit/tables/internal/UITableViewCell_content.h"

namespace tasklane {
namespace {

constexpr double kFadeSeconds = 0.3;
constexpr UIColor kSecondaryText{0.42, 0.42, 0.44, 1};
constexpr UIColor kChevron{0.66, 0.66, 0.68, 1};
constexpr UIColor kPressed{0.5, 0.5, 0.52, 0.24};

bool hasText(const std::shared_ptr<UILabel>& label) {
  return label && label->text() && !label->text()->empty();
}

}  // namespace

UITableViewCell::UITableViewCell(UITableViewCellStyle style, const std::string& reuseIdentifier)
    : style_(style),
      reuseIdentifier_(reuseIdentifier),
      contentView_(std::make_shared<ContentView>()),
      textLabel_(std::make_shared<UILabel>()),
      imageView_(std::make_shared<UIImageView>()) {
  setIsAccessibilityElement(true);
  addSubview(contentView_);
  contentView_->addSubview(imageView_);
  contentView_->addSubview(textLabel_);
  imageView_->setHidden(true);
  const UIFont body = UIFont::preferredFontForTextStyle(UIFontTextStyleBody);
  textLabel_->setFont(body);
  if (style == UITableViewCellStyle::Default) return;
  detailTextLabel_ = std::make_shared<UILabel>();
  detailTextLabel_->setFont(style == UITableViewCellStyle::Subtitle
                                ? UIFont::preferredFontForTextStyle(UIFontTextStyleFootnote)
                                : body);
  if (style != UITableViewCellStyle::Value2) detailTextLabel_->setTextColor(kSecondaryText);
  contentView_->addSubview(detailTextLabel_);
}

void UITableViewCell::prepareForReuse() {
  setHighlighted(false, false);
  setSelected(false, false);
  setFocused(false);
  setAlpha(1);
}

// Accessory.

const std::shared_ptr<UIView>& UITableViewCell::accessory() const {
  return accessoryView_ ? accessoryView_ : standardAccessory_;
}

void UITableViewCell::setAccessoryType(UITableViewCellAccessoryType type) {
  if (type == UITableViewCellAccessoryType::DetailButton ||
      type == UITableViewCellAccessoryType::DetailDisclosureButton) {
    detail::programmingError("setAccessoryType: rows have no detail buttons; use accessoryView");
  }
  if (type == accessoryType_) return;
  accessoryType_ = type;
  if (standardAccessory_) standardAccessory_->removeFromSuperview();
  standardAccessory_.reset();
  if (type != UITableViewCellAccessoryType::None) {
    const auto image = std::make_shared<UIImageView>();
    if (type == UITableViewCellAccessoryType::Checkmark) {
      image->setImage(detail::checkmarkImage());
    } else {
      image->setImage(detail::chevronImage(isLeftToRight()));
      image->setTintColor(kChevron);
    }
    image->setFrame({{}, detail::shownSize(*image->image())});
    standardAccessory_ = image;
    if (!accessoryView_) addSubview(image);
  }
  setNeedsLayout();
}

void UITableViewCell::setAccessoryView(const std::shared_ptr<UIView>& view) {
  if (view == accessoryView_) return;
  if (const auto shown = accessory()) shown->removeFromSuperview();
  accessoryView_ = view;
  if (const auto& shown = accessory()) addSubview(shown);
  setNeedsLayout();
}

// Selection.

void UITableViewCell::setSelectionStyle(UITableViewCellSelectionStyle style) {
  if (style == selectionStyle_) return;
  selectionStyle_ = style;
  updateBackground(false);
}

void UITableViewCell::setSelectedBackgroundView(const std::shared_ptr<UIView>& view) {
  if (view == selectedBackgroundView_) return;
  selectedBackgroundView_ = view;
  if (const auto old = std::exchange(shownBackground_, nullptr)) old->removeFromSuperview();
  updateBackground(false);
}

void UITableViewCell::setSelected(bool selected, bool animated) {
  if (selected == selected_) return;
  selected_ = selected;
  updateBackground(animated);
  peerNeedsUpdate();
}

void UITableViewCell::setHighlighted(bool highlighted, bool animated) {
  if (highlighted == highlighted_) return;
  highlighted_ = highlighted;
  updateBackground(animated);
}

void UITableViewCell::updateBackground(bool animated) {
  const bool shows =
      (selected_ || highlighted_) && selectionStyle_ != UITableViewCellSelectionStyle::None;
  if (shows == (shownBackground_ != nullptr)) return;
  if (shows) {
    auto background = selectedBackgroundView_;
    if (!background) {
      background = std::make_shared<UIView>();
      background->setBackgroundColor(kPressed);
    }
    shownBackground_ = background;
    background->setAlpha(1);
    background->setFrame(bounds());
    insertSubviewAtIndex(background, 0);
    return;
  }
  const auto background = std::exchange(shownBackground_, nullptr);
  if (!animated) return background->removeFromSuperview();
  const std::weak_ptr<UITableViewCell> weakCell = sharedFrom(this);
  UIView::animateWithDuration(
      kFadeSeconds, [&] { background->setAlpha(0); },
      [weakCell, background] {
        const auto cell = weakCell.lock();
        if (cell && cell->shownBackground_ == background) return;  // selected again meanwhile
        if (cell && background->superview() == cell) background->removeFromSuperview();
      });
}

void UITableViewCell::setFocused(bool focused) {
  if (focused == isFocused()) return;
  if (!focused) {
    focusView_->removeFromSuperview();
    focusView_.reset();
  } else {
    focusView_ = std::make_shared<UIView>();
    const auto wash = std::make_shared<UIView>();
    const auto edge = std::make_shared<UIView>();
    focusView_->addSubview(wash);
    focusView_->addSubview(edge);
    insertSubviewAtIndex(focusView_, shownBackground_ ? 1 : 0);
    setNeedsLayout();
  }
  peerNeedsUpdate();
}

// Separator.

UIEdgeInsets UITableViewCell::separatorInset() const {
  return separatorInset_.value_or(UIEdgeInsets{0, leadingOfTexts(), 0, 0});
}

void UITableViewCell::setSeparatorInset(UIEdgeInsets inset) {
  separatorInset_ = inset;
  placeSeparator();
}

/// For the table: shows the hairline in a colour, or with none hides it.
void UITableViewCell::setSeparator(const std::optional<UIColor>& color) {
  if (color && !separator_) {
    separator_ = std::make_shared<UIView>();
    addSubview(separator_);
  }
  if (!separator_) return;
  separator_->setHidden(!color);
  if (color) separator_->setBackgroundColor(color);
  placeSeparator();
}

void UITableViewCell::placeSeparator() {
  if (!separator_) return;
  const CGFloat hair = 1 / std::max<CGFloat>(UIScreen::mainScreen().scale(), 1);
  const UIEdgeInsets inset = separatorInset();
  const CGSize whole = bounds().size;
  place(*separator_, inset.left, whole.height - hair,
        std::max<CGFloat>(whole.width - inset.left - inset.right, 0), hair);
}

// Accessibility.

std::optional<std::string> UITableViewCell::accessibilityLabel() const {
  const auto set = UIView::accessibilityLabel();
  return set ? set : textLabel_->text();
}

std::optional<std::string> UITableViewCell::accessibilityValue() const {
  const auto set = UIView::accessibilityValue();
  const bool showsValue =
      style_ == UITableViewCellStyle::Value1 || style_ == UITableViewCellStyle::Value2;
  return !set && showsValue && hasText(detailTextLabel_) ? detailTextLabel_->text() : set;
}

}  // namespace tasklane

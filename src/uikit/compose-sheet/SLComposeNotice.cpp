#include "uikit/compose-sheet/SLComposeNotice.h"

#include <algorithm>
#include <cmath>

namespace tasklane {
namespace {

constexpr CGFloat kPadding = 10;
constexpr CGFloat kButtonGap = 24, kLeastButtonHeight = 32;

}  // namespace

SLComposeNoticeView::SLComposeNoticeView() : label_(std::make_shared<UILabel>()) {
  label_->setNumberOfLines(0);
  label_->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleFootnote));
  addSubview(label_);
  setHidden(true);
}

void SLComposeNoticeView::setNotice(const std::optional<SLComposeNotice>& notice) {
  for (const auto& button : buttons_) button->removeFromSuperview();
  buttons_.clear();
  setHidden(!notice);
  label_->setText(notice ? std::optional(notice->text) : std::nullopt);
  if (!notice) return;
  for (const auto& action : notice->actions) {
    const auto button = std::make_shared<UIButton>();
    button->setTitle(action.title);
    button->setPressHandler(action.handler);
    addSubview(button);
    buttons_.push_back(button);
  }
}

CGFloat SLComposeNoticeView::heightForWidth(CGFloat width, CGFloat margin) {
  if (isHidden()) return 0;
  CGFloat height = label_->sizeThatFits({width - 2 * margin, CGFLOAT_MAX}).height + 2 * kPadding;
  if (!buttons_.empty())
    height += std::max(kLeastButtonHeight, buttons_[0]->sizeThatFits({}).height);
  return std::ceil(height);
}

void SLComposeNoticeView::layoutWithMargin(CGFloat margin, bool leftToRight) {
  const CGFloat width = bounds().size.width, inside = width - 2 * margin;
  const CGFloat text = label_->sizeThatFits({inside, CGFLOAT_MAX}).height;
  label_->setFrame({margin, kPadding, inside, text});
  CGFloat x = margin;
  for (const auto& button : buttons_) {
    const CGSize size = button->sizeThatFits({});
    const CGFloat height = std::max(kLeastButtonHeight, size.height);
    const CGFloat taken = std::min(size.width, inside);
    button->setFrame(
        {leftToRight ? x : width - x - taken, kPadding + text + kPadding / 2, taken, height});
    x += taken + kButtonGap;
  }
}

}  // namespace tasklane

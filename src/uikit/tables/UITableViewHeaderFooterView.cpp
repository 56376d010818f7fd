#include <algorithm>
#include <cmath>

#include "uikit/tables/UITableViewCell.h"

namespace tasklane {
namespace {

constexpr CGFloat kMargin = 15;
constexpr CGFloat kAbove = 16;
constexpr CGFloat kBelow = 6;
constexpr UIColor kText{0.42, 0.42, 0.44, 1};

}  // namespace

UITableViewHeaderFooterView::UITableViewHeaderFooterView(const std::string& reuseIdentifier)
    : reuseIdentifier_(reuseIdentifier), textLabel_(std::make_shared<UILabel>()) {
  textLabel_->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleFootnote));
  textLabel_->setTextColor(kText);
  textLabel_->setNumberOfLines(0);
  textLabel_->setAccessibilityTraits(UIAccessibilityTraitHeader);
  addSubview(textLabel_);
}

void UITableViewHeaderFooterView::layoutSubviews() {
  UIView::layoutSubviews();
  const CGSize whole = bounds().size;
  const CGFloat width = std::max<CGFloat>(whole.width - 2 * kMargin, 0);
  const CGFloat height = textLabel_->sizeThatFits({width, CGFLOAT_MAX}).height;
  textLabel_->setFrame({kMargin, whole.height - kBelow - height, width, height});
}

CGSize UITableViewHeaderFooterView::sizeThatFits(CGSize size) {
  const CGFloat width = size.width > 2 * kMargin ? size.width - 2 * kMargin : CGFLOAT_MAX / 4;
  const CGFloat text = textLabel_->sizeThatFits({width, CGFLOAT_MAX}).height;
  return {size.width, std::ceil(kAbove + text + kBelow)};
}

}  // namespace tasklane

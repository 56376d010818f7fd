#include "Screen.h"

#include <cmath>

#include "appearance/TasklaneAppearance.h"
#include "uikit/base/Backend.h"
#include "uikit/controls/UILabel.h"

namespace tasklane::gallery {

namespace {

bool isRightToLeft() {
  return backend::layoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
}

}  // namespace

std::string say(const char* english, const char* hebrew) {
  return isRightToLeft() ? hebrew : english;
}

void Column::add(const std::shared_ptr<UIView>& view, CGFloat height, CGFloat gapAbove) {
  items_.push_back({view, height, gapAbove});
  addSubview(view);
}

void Column::layoutSubviews() {
  UIView::layoutSubviews();
  const CGFloat width = bounds().size.width - 2 * margin_;
  CGFloat y = margin_;
  for (const auto& [view, height, gapAbove] : items_) {
    const CGFloat own = height > 0 ? height : std::ceil(view->sizeThatFits({width, 0}).height);
    y += gapAbove;
    view->setFrame({margin_, y, width, own});
    y += own;
  }
}

void Row::layoutSubviews() {
  UIView::layoutSubviews();
  CGFloat leading = 0;
  for (const auto& view : subviews()) {
    const CGSize size = view->frame().size;
    const CGFloat x = isRightToLeft() ? bounds().size.width - leading - size.width : leading;
    view->setFrame({{x, std::round((bounds().size.height - size.height) / 2)}, size});
    leading += size.width + gap_;
  }
}

std::shared_ptr<UIViewController> controllerWithColumn(
    const std::function<void(Column& column)>& fill) {
  auto controller = std::make_shared<UIViewController>();
  const auto column = std::make_shared<Column>();
  column->setBackgroundColor(TasklaneAppearance::currentAppearance().BackgroundColor());
  fill(*column);
  controller->setView(column);
  return controller;
}

std::shared_ptr<UIView> caption(const std::string& text) {
  const auto label = std::make_shared<UILabel>();
  label->setText(text);
  label->setFont(TasklaneAppearance::cellMetadataFont());
  label->setTextColor(TasklaneAppearance::currentAppearance().MetadataTextColor());
  label->sizeToFit();
  return label;
}

}  // namespace tasklane::gallery

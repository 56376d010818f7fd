#include "uikit/views/UINavigationItem.h"

#include <utility>

namespace tasklane {

UINavigationItem::UINavigationItem(std::string title) : title_(std::move(title)) {}

void UINavigationItem::changed() {
  if (changeHandler_) changeHandler_();
}

void UINavigationItem::setTitle(std::string title) {
  if (title == title_) return;
  title_ = std::move(title);
  changed();
}

void UINavigationItem::setTitleView(const std::shared_ptr<UIView>& view) {
  if (view == titleView_) return;
  titleView_ = view;
  changed();
}

void UINavigationItem::setLeftBarButtonItem(const std::shared_ptr<UIBarButtonItem>& item) {
  if (item == left_) return;
  left_ = item;
  changed();
}

void UINavigationItem::setRightBarButtonItem(const std::shared_ptr<UIBarButtonItem>& item) {
  if (item == right_) return;
  right_ = item;
  changed();
}

}  // namespace tasklane

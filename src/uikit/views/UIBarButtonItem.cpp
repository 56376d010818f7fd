#include "uikit/views/UIBarButtonItem.h"

#include <utility>

namespace tasklane {

UIBarButtonItem::UIBarButtonItem(std::string title, UIBarButtonItemStyle style,
                                 const std::shared_ptr<NSObject>& target,
                                 Action<UIBarButtonItem> action)
    : title_(std::move(title)), style_(style) {
  targetAction_.setTarget(target);
  targetAction_.setAction(std::move(action));
}

void UIBarButtonItem::setTitle(std::string title) {
  if (title == title_) return;
  title_ = std::move(title);
  if (changeHandler_) changeHandler_();
}

void UIBarButtonItem::setEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  if (changeHandler_) changeHandler_();
}

void UIBarButtonItem::press() {
  if (!enabled_) return;
  const auto self = shared_from_this();  // the action may take the screen with its buttons away
  targetAction_.perform(*this);
}

}  // namespace tasklane

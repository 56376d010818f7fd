#include "uikit/compose-sheet/SLComposeSheetConfigurationItem.h"

#include <utility>

namespace tasklane {

void SLComposeSheetConfigurationItem::setTitle(std::string title) {
  if (title == title_) return;
  title_ = std::move(title);
  if (const auto handler = changeHandler_) handler();
}

void SLComposeSheetConfigurationItem::setValue(std::optional<std::string> value) {
  if (value == value_) return;
  value_ = std::move(value);
  remark_.reset();
  if (const auto handler = changeHandler_) handler();
}

void SLComposeSheetConfigurationItem::setRemark(std::optional<std::string> remark) {
  if (remark == remark_) return;
  remark_ = std::move(remark);
  if (const auto handler = changeHandler_) handler();
}

}  // namespace tasklane

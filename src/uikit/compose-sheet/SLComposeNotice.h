#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/controls/UIButton.h"
#include "uikit/controls/UILabel.h"
#include "uikit/views/UIView.h"

namespace tasklane {

/// A message of a compose sheet, with what can be done about it.
struct SLComposeNotice {
  struct Action {
    std::string title;
    std::function<void()> handler;
  };
  std::string text;
  std::vector<Action> actions;
};

/// The strip above the sheet's text that shows a message, over its buttons; without one it has no
/// height.
class SLComposeNoticeView : public UIView {
 public:
  SLComposeNoticeView();

  void setNotice(const std::optional<SLComposeNotice>& notice);
  void setTextColor(const std::optional<UIColor>& color) { label_->setTextColor(color); }
  /// The margin is that on either side.
  CGFloat heightForWidth(CGFloat width, CGFloat margin);
  /// Places text and buttons from the reading direction's start.
  void layoutWithMargin(CGFloat margin, bool leftToRight);

 private:
  std::shared_ptr<UILabel> label_;
  std::vector<std::shared_ptr<UIButton>> buttons_;
};

}  // namespace tasklane

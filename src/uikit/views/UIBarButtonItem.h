#pragma once

#include <functional>
#include <memory>
#include <string>

#include "foundation/base/NSObject.h"
#include "foundation/base/TargetAction.h"

namespace tasklane {

enum class UIBarButtonItemStyle { Plain = 0, Done = 2 };

/// A button in a bar: its title, style and what it performs. A change shows at once. Main thread.
class UIBarButtonItem : public NSObject {
 public:
  UIBarButtonItem(std::string title, UIBarButtonItemStyle style,
                  const std::shared_ptr<NSObject>& target, Action<UIBarButtonItem> action);

  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  UIBarButtonItemStyle style() const { return style_; }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  /// What a press does; a disabled button does nothing.
  void press();

 private:
  friend class UINavigationBar;
  std::string title_;
  UIBarButtonItemStyle style_;
  TargetAction<UIBarButtonItem> targetAction_;
  std::function<void()> changeHandler_;
  bool enabled_ = true;
};

}  // namespace tasklane

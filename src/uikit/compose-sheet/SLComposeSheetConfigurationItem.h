#pragma once

#include <functional>
#include <optional>
#include <string>

#include "foundation/base/NSObject.h"

namespace tasklane {

/// One row under a compose sheet's text: a title, a value beside it (possibly none) and what a tap
/// does. A change shows at once.
class SLComposeSheetConfigurationItem : public NSObject {
 public:
  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  const std::optional<std::string>& value() const { return value_; }
  void setValue(std::optional<std::string> value);
  /// What stands in the value's place where there is more to say of it than the value itself, until
  /// the value changes.
  const std::optional<std::string>& remark() const { return remark_; }
  void setRemark(std::optional<std::string> remark);
  const std::function<void()>& tapHandler() const { return tapHandler_; }
  void setTapHandler(std::function<void()> handler) { tapHandler_ = std::move(handler); }

  /// For the sheet that shows the row.
  void setChangeHandler(std::function<void()> handler) { changeHandler_ = std::move(handler); }

 private:
  std::string title_;
  std::optional<std::string> value_, remark_;
  std::function<void()> tapHandler_, changeHandler_;
};

}  // namespace tasklane

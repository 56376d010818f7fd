#pragma once

#include <functional>
#include <memory>
#include <string>

#include "uikit/views/UIBarButtonItem.h"
#include "uikit/views/UIView.h"

namespace tasklane {

/// What a navigation bar shows for one screen: a title (or a view in its place) and a button on
/// either side. A change shows at once while the item is on top of a bar.
class UINavigationItem : public NSObject {
 public:
  explicit UINavigationItem(std::string title = {});

  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  const std::shared_ptr<UIView>& titleView() const { return titleView_; }
  void setTitleView(const std::shared_ptr<UIView>& view);
  const std::shared_ptr<UIBarButtonItem>& leftBarButtonItem() const { return left_; }
  void setLeftBarButtonItem(const std::shared_ptr<UIBarButtonItem>& item);
  const std::shared_ptr<UIBarButtonItem>& rightBarButtonItem() const { return right_; }
  void setRightBarButtonItem(const std::shared_ptr<UIBarButtonItem>& item);

 private:
  friend class UINavigationBar;
  void changed();
  std::string title_;
  std::shared_ptr<UIView> titleView_;
  std::shared_ptr<UIBarButtonItem> left_, right_;
  std::function<void()> changeHandler_;  ///< of the bar that shows it
};

}  // namespace tasklane

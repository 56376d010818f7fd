#include "appearance/TasklaneAppearanceTableViewCell.h"

#include "appearance/TasklaneAppearance.h"
#include "appearance/TasklaneAppearanceSelectedBackgroundViews.h"
#include "appearance/TasklaneAppearanceTintableDisclosureIndicatorView.h"
#include "kestrel/base/KBRecordBacktrace.h"
#include "kestrel/views/UIView+KestrelUI.h"
#include "uikit/tables/UITableView.h"

namespace tasklane {

TasklaneAppearanceTableViewCell::TasklaneAppearanceTableViewCell(UITableViewCellStyle style,
                                                                 const std::string& reuseIdentifier)
    : UITableViewCell(style, reuseIdentifier) {
  TasklaneAppearanceTableViewCell::applyDefaultLabelColors();
}

void TasklaneAppearanceTableViewCell::applyDefaultLabelColors() {
  const auto& appearance = TasklaneAppearance::currentAppearance();
  textLabel()->setTextColor(appearance.TitleTextColor());
  if (detailTextLabel()) detailTextLabel()->setTextColor(appearance.MetadataTextColor());
}

void TasklaneAppearanceTableViewCell::applyTableViewCellAppearancePropertiesForUseInTableView(
    const std::shared_ptr<UIView>& tableView) {
  const auto table = std::dynamic_pointer_cast<UITableView>(tableView);
  if (!table) return;
  switch (table->style()) {
    case UITableViewStyle::Grouped:
      return applyGroupedTableViewCellAppearanceProperties();
    case UITableViewStyle::Plain:
      return applyPlainTableViewCellAppearanceProperties();
  }
}

void TasklaneAppearanceTableViewCell::applyGroupedTableViewCellAppearanceProperties() {
  using Background = detail::TasklaneAppearanceGroupedTableViewCellSelectedBackgroundView;
  setBackgroundColor(
      TasklaneAppearance::currentAppearance().StandardGroupedTableCellBackgroundColor());
  detail::applySelectedBackground<Background>(*this);
}

void TasklaneAppearanceTableViewCell::applyPlainTableViewCellAppearanceProperties() {
  using Background = detail::TasklaneAppearancePlainTableViewCellSelectedBackgroundView;
  setBackgroundColor(
      TasklaneAppearance::currentAppearance().StandardPlainTableCellBackgroundColor());
  detail::applySelectedBackground<Background>(*this);
}

bool TasklaneAppearanceTableViewCell::hasTintableDisclosureIndicator() const {
  using Indicator = detail::TasklaneAppearanceTintableDisclosureIndicatorView;
  return accessoryType() == UITableViewCellAccessoryType::None &&
         dynamic_cast<const Indicator*>(accessoryView().get());
}

void TasklaneAppearanceTableViewCell::setHasTintableDisclosureIndicator(bool flag) {
  using Indicator = detail::TasklaneAppearanceTintableDisclosureIndicatorView;
  if (flag == hasTintableDisclosureIndicator()) return;
  setAccessoryType(UITableViewCellAccessoryType::None);
  setAccessoryView(flag ? Indicator::disclosureIndicatorView() : nullptr);
}

void TasklaneAppearanceTableViewCell::setAccessoryType(UITableViewCellAccessoryType type) {
  if (type == UITableViewCellAccessoryType::DisclosureIndicator) KBRecordBacktrace("NOTREACHED", 2);
  UITableViewCell::setAccessoryType(type);
}

void TasklaneAppearanceTableViewCell::willMoveToSuperview(
    const std::shared_ptr<UIView>& newSuperview) {
  applyTableViewCellAppearancePropertiesForUseInTableView(
      containingViewOfClass<UITableView>(newSuperview));
}

void TasklaneAppearanceTableViewCell::prepareForReuse() {
  UITableViewCell::prepareForReuse();
  setHasTintableDisclosureIndicator(false);
  applyDefaultLabelColors();
  applyTableViewCellAppearancePropertiesForUseInTableView(
      containingViewOfClass<UITableView>(sharedFrom<UIView>(this)));
}

}  // namespace tasklane

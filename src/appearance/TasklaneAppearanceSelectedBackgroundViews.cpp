#include "appearance/TasklaneAppearanceSelectedBackgroundViews.h"

#include "appearance/TasklaneAppearance.h"
#include "kestrel/base/KBFailure.h"

namespace tasklane::detail {

namespace {
constexpr const char* kCellLabel = "iPad/Classes/TasklaneAppearanceTableViewCell";
constexpr const char* kSupportLabel = "iOS/Views/TasklaneAppearance-TableViewSupport";
}  // namespace

using Abstract = TasklaneAppearanceTableViewCellSelectedBackgroundView;
using Plain = TasklaneAppearancePlainTableViewCellSelectedBackgroundView;
using Grouped = TasklaneAppearanceGroupedTableViewCellSelectedBackgroundView;
using Standard = StandardGroupedCellSelectedBackgroundView;

Abstract::TasklaneAppearanceTableViewCellSelectedBackgroundView(CGRect frame) : UIView(frame) {
  KBRejectUnusedImplementation(className(), "initWithFrame:", kCellLabel, 51);
}

Abstract::TasklaneAppearanceTableViewCellSelectedBackgroundView(CGRect frame,
                                                                const std::optional<UIColor>& color)
    : UIView(frame) {
  setBackgroundColor(color);
}

std::optional<UIColor> Abstract::tableViewCellSelectionColor() {
  KBRequestConcreteImplementation("TasklaneAppearanceTableViewCellSelectedBackgroundView",
                                  "tableViewCellSelectionColor", kCellLabel, 46);
}

Plain::TasklaneAppearancePlainTableViewCellSelectedBackgroundView(
    CGRect frame, UITableViewCellSelectionStyle style)
    : Abstract(frame, tableViewCellSelectionColorForSelectionStyle<Plain>(style)) {}

std::optional<UIColor> Plain::tableViewCellSelectionColor() {
  return TasklaneAppearance::currentAppearance().StandardPlainTableCellSelectionColor();
}

Grouped::TasklaneAppearanceGroupedTableViewCellSelectedBackgroundView(
    CGRect frame, UITableViewCellSelectionStyle style)
    : Abstract(frame, tableViewCellSelectionColorForSelectionStyle<Grouped>(style)) {}

std::optional<UIColor> Grouped::tableViewCellSelectionColor() {
  return TasklaneAppearance::currentAppearance().StandardGroupedTableCellSelectionColor();
}

Standard::StandardGroupedCellSelectedBackgroundView(CGRect frame) : UIView(frame) {
  KBRejectUnusedImplementation(className(), "initWithFrame:", kSupportLabel, 45);
}

Standard::StandardGroupedCellSelectedBackgroundView(CGRect frame,
                                                    UITableViewCellSelectionStyle style)
    : UIView(frame) {
  setBackgroundColor(tableViewCellSelectionColorForSelectionStyle<Standard>(style));
}

std::optional<UIColor> Standard::tableViewCellSelectionColor() {
  return TasklaneAppearance::currentAppearance().StandardGroupedTableCellSelectionColor();
}

}  // namespace tasklane::detail

#include "appearance/UITableViewCell+TasklaneAppearance.h"

#include "appearance/TasklaneAppearance.h"
#include "appearance/TasklaneAppearanceSelectedBackgroundViews.h"

namespace tasklane {

void applyStandardGroupedAppearanceProperties(UITableViewCell& cell) {
  const auto& appearance = TasklaneAppearance::currentAppearance();
  cell.setBackgroundColor(appearance.StandardGroupedTableCellBackgroundColor());
  cell.textLabel()->setTextColor(appearance.TitleTextColor());
  if (const auto& detailLabel = cell.detailTextLabel())
    detailLabel->setTextColor(appearance.MetadataTextColor());
  detail::applySelectedBackground<detail::StandardGroupedCellSelectedBackgroundView>(cell);
}

}  // namespace tasklane

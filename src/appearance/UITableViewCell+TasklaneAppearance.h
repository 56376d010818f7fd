#pragma once

#include "uikit/tables/UITableViewCell.h"

namespace tasklane {

/// Gives any cell of a grouped table the current palette's background, label and selection colours;
/// for cells that are no TasklaneAppearanceTableViewCell.
void applyStandardGroupedAppearanceProperties(UITableViewCell& cell);

}  // namespace tasklane

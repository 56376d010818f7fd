#pragma once

#include <memory>
#include <string>

#include "uikit/tables/UITableViewCell.h"

namespace tasklane {

/// A cell in the palette's colours for the table that it joins: its labels when it is made and when
/// it is reused, its background and selected background when it moves into a table. Main thread.
class TasklaneAppearanceTableViewCell : public UITableViewCell {
 public:
  TasklaneAppearanceTableViewCell(UITableViewCellStyle style, const std::string& reuseIdentifier);

  /// Title and detail in the palette's text colours.
  virtual void applyDefaultLabelColors();
  /// By the style of a table; a view that is no table, or a table that is neither plain nor
  /// grouped, does nothing.
  void applyTableViewCellAppearancePropertiesForUseInTableView(
      const std::shared_ptr<UIView>& tableView);
  virtual void applyGroupedTableViewCellAppearanceProperties();
  virtual void applyPlainTableViewCellAppearanceProperties();

  /// Whether the row leads on, shown by a chevron that follows the palette; it is lost when the
  /// cell is reused.
  bool hasTintableDisclosureIndicator() const;
  void setHasTintableDisclosureIndicator(bool flag);
  /// The platform's own chevron works too but does not follow the palette: it leaves a note on the
  /// console.
  void setAccessoryType(UITableViewCellAccessoryType type) override;

  void willMoveToSuperview(const std::shared_ptr<UIView>& newSuperview) override;
  void prepareForReuse() override;
};

}  // namespace tasklane

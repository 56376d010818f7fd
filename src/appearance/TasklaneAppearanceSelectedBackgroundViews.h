#pragma once

#include <memory>
#include <optional>

#include "uikit/tables/UITableViewCell.h"

namespace tasklane::detail {

/// The colour of a kind of selected background for a selection style: none for style none and for
/// any style that is not known.
template <class Kind>
std::optional<UIColor> tableViewCellSelectionColorForSelectionStyle(
    UITableViewCellSelectionStyle style) {
  switch (style) {
    case UITableViewCellSelectionStyle::Blue:
    case UITableViewCellSelectionStyle::Gray:
    case UITableViewCellSelectionStyle::Default:
      return Kind::tableViewCellSelectionColor();
    case UITableViewCellSelectionStyle::None:
      break;
  }
  return std::nullopt;
}

/// What lies behind a themed cell's content while its row is selected: a plain rectangle in the
/// kind's colour. It is made with the cell's selection style; to make one without ends the process.
class TasklaneAppearanceTableViewCellSelectedBackgroundView : public UIView {
 public:
  [[noreturn]] explicit TasklaneAppearanceTableViewCellSelectedBackgroundView(CGRect frame);
  /// Abstract: to ask it ends the process.
  [[noreturn]] static std::optional<UIColor> tableViewCellSelectionColor();

 protected:
  TasklaneAppearanceTableViewCellSelectedBackgroundView(CGRect frame,
                                                        const std::optional<UIColor>& color);
};

/// Behind a selected row of a plain table.
class TasklaneAppearancePlainTableViewCellSelectedBackgroundView
    : public TasklaneAppearanceTableViewCellSelectedBackgroundView {
 public:
  using TasklaneAppearanceTableViewCellSelectedBackgroundView::
      TasklaneAppearanceTableViewCellSelectedBackgroundView;
  TasklaneAppearancePlainTableViewCellSelectedBackgroundView(CGRect frame,
                                                             UITableViewCellSelectionStyle style);
  static std::optional<UIColor> tableViewCellSelectionColor();
};

/// Behind a selected row of a grouped table.
class TasklaneAppearanceGroupedTableViewCellSelectedBackgroundView
    : public TasklaneAppearanceTableViewCellSelectedBackgroundView {
 public:
  using TasklaneAppearanceTableViewCellSelectedBackgroundView::
      TasklaneAppearanceTableViewCellSelectedBackgroundView;
  TasklaneAppearanceGroupedTableViewCellSelectedBackgroundView(CGRect frame,
                                                               UITableViewCellSelectionStyle style);
  static std::optional<UIColor> tableViewCellSelectionColor();
};

/// The same for cells of any class (see UITableViewCell+TasklaneAppearance.h).
class StandardGroupedCellSelectedBackgroundView : public UIView {
 public:
  [[noreturn]] explicit StandardGroupedCellSelectedBackgroundView(CGRect frame);
  StandardGroupedCellSelectedBackgroundView(CGRect frame, UITableViewCellSelectionStyle style);
  static std::optional<UIColor> tableViewCellSelectionColor();
};

/// Has a cell show a kind of selected background in the colour for its selection style: recolours
/// the one that it has when it is of that kind, else puts a new one in place of whatever it has.
template <class Kind>
void applySelectedBackground(UITableViewCell& cell) {
  const auto style = cell.selectionStyle();
  if (const auto present = std::dynamic_pointer_cast<Kind>(cell.selectedBackgroundView())) {
    present->setBackgroundColor(tableViewCellSelectionColorForSelectionStyle<Kind>(style));
    return;
  }
  const auto made = std::make_shared<Kind>(cell.bounds(), style);
  made->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
  cell.setSelectedBackgroundView(made);
}

}  // namespace tasklane::detail

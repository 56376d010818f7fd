#pragma once

#include <optional>

#include "uikit/qt/ScrollPeer.h"
#include "uikit/tables/UITableView.h"

namespace tasklane::qt {

/// A table: a scroll view whose rows a person presses, and moves through with the keyboard.
class TablePeer : public ScrollPeer {
 public:
  explicit TablePeer(UITableView& tableView);
  QWidget* focusTarget() const override { return widget(); }

 protected:
  void apply() override;
};

/// One row of it.
class CellPeer : public ViewPeer {
 public:
  explicit CellPeer(UITableViewCell& cell);
};

}  // namespace tasklane::qt

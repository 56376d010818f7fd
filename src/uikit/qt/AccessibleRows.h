#pragma once

#include <QAccessible>
#include <map>
#include <memory>
#include <string>

#include "uikit/tables/UITableView.h"

namespace tasklane::qt {

/// What of a table an assistive program counts: every row, also those out of sight, which have no
/// cells, in their order, each section's behind its title. So a row's place among its siblings is
/// its place in the list.
class AccessibleRows {
 public:
  explicit AccessibleRows(UITableView& table) : table_(&table) {}
  ~AccessibleRows();
  AccessibleRows(const AccessibleRows&) = delete;
  AccessibleRows& operator=(const AccessibleRows&) = delete;

  int count() const;
  /// Null beyond the end, and for a title that is out of sight.
  QAccessibleInterface* at(int index);
  /// -1 for what is not in the table.
  int indexOf(const QAccessibleInterface& child) const;

 private:
  struct Place {
    std::size_t section;
    std::optional<std::size_t> row;  ///< none for the section's title
  };
  std::optional<Place> placeAt(int index) const;
  int indexOf(const Place& place) const;
  bool hasTitle(std::size_t section) const;

  UITableView* table_;  ///< whose widget's interface owns this
  std::map<NSIndexPath, QAccessible::Id> outOfSight_;
};

/// Chooses a row as a tap does, or moves the keyboard to it; for an action's name.
void performRowAction(UITableView& table, NSIndexPath row, const QString& action);
QStringList rowActions();

}  // namespace tasklane::qt

#include "uikit/qt/AccessibleRows.h"

#include <QWindow>

#include "uikit/qt/Accessible.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

namespace {

QAccessibleInterface* interfaceOf(const UIView* view) {
  const ViewPeer* peer = ViewPeer::of(view);
  return peer && peer->widget() ? QAccessible::queryAccessibleInterface(peer->widget()) : nullptr;
}

/// A row that no cell shows. Its texts come from a cell that is made for the question.
class RowOutOfSight : public QAccessibleInterface, public QAccessibleActionInterface {
 public:
  RowOutOfSight(UITableView& table, NSIndexPath row)
      : table_(std::static_pointer_cast<UITableView>(table.shared_from_this())), row_(row) {}
  NSIndexPath row() const { return row_; }

  bool isValid() const override { return cell() != nullptr; }
  QObject* object() const override { return nullptr; }
  QWindow* window() const override { return parent() ? parent()->window() : nullptr; }
  QAccessibleInterface* childAt(int, int) const override { return nullptr; }
  QAccessibleInterface* parent() const override { return interfaceOf(table_.lock().get()); }
  QAccessibleInterface* child(int) const override { return nullptr; }
  int childCount() const override { return 0; }
  int indexOfChild(const QAccessibleInterface*) const override { return -1; }
  QRect rect() const override { return {}; }
  QAccessible::Role role() const override { return QAccessible::ListItem; }
  void setText(QAccessible::Text, const QString&) override {}

  QString text(QAccessible::Text kind) const override {
    const auto cell = this->cell();
    if (!cell) return {};
    if (kind == QAccessible::Name) return toQString(accessibleName(*cell));
    if (kind == QAccessible::Description)
      return toQString(cell->accessibilityHint().value_or(std::string()));
    return {};
  }

  QAccessible::State state() const override {
    QAccessible::State state;
    const auto cell = this->cell();
    state.invalid = !cell;
    state.selectable = state.focusable = state.offscreen = true;
    if (cell && (cell->accessibilityTraits() & UIAccessibilityTraitNotEnabled))
      state.disabled = true;
    if (cell && cell->accessoryType() == UITableViewCellAccessoryType::Checkmark)
      state.checkable = state.checked = state.selected = true;
    return state;
  }

  void* interface_cast(QAccessible::InterfaceType type) override {
    return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                : nullptr;
  }
  QStringList actionNames() const override { return rowActions(); }
  void doAction(const QString& name) override {
    if (const auto table = table_.lock()) performRowAction(*table, row_, name);
  }
  QStringList keyBindingsForAction(const QString&) const override { return {}; }

 private:
  std::shared_ptr<UITableViewCell> cell() const {
    const auto table = table_.lock();
    return table ? table->cellOutOfSight(row_) : nullptr;
  }

  std::weak_ptr<UITableView> table_;
  NSIndexPath row_;
};

}  // namespace

AccessibleRows::~AccessibleRows() {
  for (const auto& [row, id] : outOfSight_) QAccessible::deleteAccessibleInterface(id);
}

bool AccessibleRows::hasTitle(std::size_t section) const {
  const auto source = table_->dataSource();
  return source && source->titleForHeaderInSection(*table_, section).has_value();
}

int AccessibleRows::indexOf(const Place& place) const {
  std::size_t index = 0;
  for (std::size_t section = 0; section < place.section; ++section)
    index += hasTitle(section) + table_->numberOfRowsInSection(section);
  if (place.row) index += hasTitle(place.section) + *place.row;
  return static_cast<int>(index);
}

int AccessibleRows::count() const { return indexOf(Place{table_->numberOfSections(), {}}); }

std::optional<AccessibleRows::Place> AccessibleRows::placeAt(int index) const {
  if (index < 0) return {};
  auto left = static_cast<std::size_t>(index);
  for (std::size_t section = 0; section < table_->numberOfSections(); ++section) {
    if (hasTitle(section) && left-- == 0) return Place{section, {}};
    const std::size_t rows = table_->numberOfRowsInSection(section);
    if (left < rows) return Place{section, left};
    left -= rows;
  }
  return {};
}

QAccessibleInterface* AccessibleRows::at(int index) {
  const auto place = placeAt(index);
  if (!place) return nullptr;
  if (!place->row) return interfaceOf(table_->headerViewForSection(place->section).get());
  const NSIndexPath row{place->section, *place->row};
  if (const auto cell = table_->cellForRowAtIndexPath(row)) return interfaceOf(cell.get());
  const auto known = outOfSight_.find(row);
  if (known != outOfSight_.end()) return QAccessible::accessibleInterface(known->second);
  // Qt's registry owns it until the destructor hands it in.
  auto* made = std::make_unique<RowOutOfSight>(*table_, row).release();
  outOfSight_[row] = QAccessible::registerAccessibleInterface(made);
  return made;
}

int AccessibleRows::indexOf(const QAccessibleInterface& child) const {
  if (const auto* unseen = dynamic_cast<const RowOutOfSight*>(&child))
    return indexOf(Place{unseen->row().section, unseen->row().row});
  const auto* widget = ViewWidget::of(child.object());
  const UIView* view = widget ? widget->view() : nullptr;
  if (const auto* cell = dynamic_cast<const UITableViewCell*>(view)) {
    const auto row = table_->indexPathForCell(*cell);
    return row ? indexOf(Place{row->section, row->row}) : -1;
  }
  for (std::size_t section = 0; view && section < table_->numberOfSections(); ++section)
    if (table_->headerViewForSection(section).get() == view) return indexOf(Place{section, {}});
  return -1;
}

QStringList rowActions() {
  return {QAccessibleActionInterface::pressAction(), QAccessibleActionInterface::setFocusAction()};
}

void performRowAction(UITableView& table, NSIndexPath row, const QString& action) {
  const auto keepsAlive = table.shared_from_this();
  if (action == QAccessibleActionInterface::pressAction()) {
    table.userDidChooseRow(row);
  } else if (action == QAccessibleActionInterface::setFocusAction()) {
    table.setFocusedRow(row);
    table.becomeFirstResponder();
  }
}

}  // namespace tasklane::qt

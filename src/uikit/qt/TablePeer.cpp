#include "uikit/qt/TablePeer.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QCursor>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>

#include "uikit/navigation/UISearchBar.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/Keyboard.h"
#include "uikit/qt/UpdateQueue.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::qt {

namespace {

/// Shows that the pointer is on a row: a veil over its content that lets every event through.
class HoverMark : public QWidget {
 public:
  HoverMark(QWidget* parent, ViewWidget* table) : QWidget(parent), table_(table) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    hide();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    if (!table_->view()) return;
    const bool dark = isDark(colorBehind(*table_->view()));
    QPainter(this).fillRect(rect(), dark ? QColor(255, 255, 255, 18) : QColor(0, 0, 0, 10));
  }

 private:
  ViewWidget* table_;
};

std::optional<UITableView::Key> tableKey(const QKeyEvent& event) {
  if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return {};
  switch (event.key()) {
    case Qt::Key_Up:
      return UITableView::Key::Up;
    case Qt::Key_Down:
      return UITableView::Key::Down;
    case Qt::Key_PageUp:
      return UITableView::Key::PageUp;
    case Qt::Key_PageDown:
      return UITableView::Key::PageDown;
    case Qt::Key_Home:
      return UITableView::Key::Home;
    case Qt::Key_End:
      return UITableView::Key::End;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
    case Qt::Key_Select:
      return UITableView::Key::Choose;
    default:
      return {};
  }
}

bool startsSearch(const QKeyEvent& event) {
  if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
  return event.key() == Qt::Key_Backspace ||
         (!event.text().isEmpty() && event.text().front().isPrint());
}

}  // namespace

class TableWidget : public ScrollWidget {
 public:
  explicit TableWidget(ScrollPeer* peer)
      : ScrollWidget(peer), hover_(new HoverMark(viewport(), this)) {
    // A press leaves the keyboard where it is, in the text.
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_InputMethodEnabled, false);
  }

  void markRows() {
    const auto* table = this->table();
    if (!table) return;
    markHover(table->pressedRow() ? std::nullopt : rowUnderPointer());
    const auto focused = hasFocus() ? table->focusedRow() : std::nullopt;
    if (focused && focused != announcedRow_ && QAccessible::isActive()) announceRow(*focused);
    announcedRow_ = focused;
  }

 protected:
  UITableView* table() const { return static_cast<UITableView*>(view()); }

  void keyPressEvent(QKeyEvent* event) override {
    auto table = sharedFrom(this->table());
    if (!table || handleWindowKey(*event, *table)) return;
    if (const auto key = tableKey(*event)) {
      event->accept();
      const bool taken =
          !(*key == UITableView::Key::Choose && event->isAutoRepeat()) && table->handleKey(*key);
      if (taken) return;
      if (*key == UITableView::Key::Up) {
        if (const auto searchBar = searchBarFor(*table)) searchBar->becomeFirstResponder();
        return;
      }
      if (event->key() != Qt::Key_Space) return;
    }
    if (startsSearch(*event) && passToSearch(*table, *event)) return;
    event->ignore();
  }

  void inputMethodEvent(QInputMethodEvent* event) override { event->ignore(); }

  bool focusNextPrevChild(bool next) override {
    auto* table = this->table();
    if (table && table->tabStopsAtRows() && hasFocus() && table->focusedRow()) {
      const auto before = table->focusedRow();
      table->handleKey(next ? UITableView::Key::Down : UITableView::Key::Up);
      if (table->focusedRow() != before) return true;
    }
    return ScrollWidget::focusNextPrevChild(next);
  }

  void focusInEvent(QFocusEvent* event) override {
    ScrollWidget::focusInEvent(event);
    auto table = sharedFrom(this->table());
    if (!table) return;
    table->becomeFirstResponder();
    const bool byTab =
        event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    if (byTab && table->tabStopsAtRows()) {
      table->setFocusedRow({});
      table->handleKey(event->reason() == Qt::TabFocusReason ? UITableView::Key::Home
                                                             : UITableView::Key::End);
    }
    // The row is told of a turn later: Qt is about to tell that the list has the keyboard.
    peer()->viewDidChange();
  }

  void focusOutEvent(QFocusEvent* event) override {
    ScrollWidget::focusOutEvent(event);
    markRows();
  }

  bool viewportEvent(QEvent* event) override {
    switch (event->type()) {
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonDblClick:
        return press(*static_cast<QMouseEvent*>(event));
      case QEvent::MouseMove:
        return drag(*static_cast<QMouseEvent*>(event));
      case QEvent::MouseButtonRelease:
        return release(*static_cast<QMouseEvent*>(event));
      case QEvent::Leave:
        markRows();
        break;
      default:
        break;
    }
    return ScrollWidget::viewportEvent(event);
  }

 private:
  std::optional<NSIndexPath> rowAt(const QPointF& point) const {
    auto* table = this->table();
    if (!table || !viewport()->rect().contains(point.toPoint())) return {};
    const CGPoint origin = table->bounds().origin;
    return table->indexPathForRowAtPoint({point.x() - peer()->fraction().x() + origin.x,
                                          point.y() - peer()->fraction().y() + origin.y});
  }

  /// Asked anew each time: rows come, go and move under a pointer that rests.
  std::optional<NSIndexPath> rowUnderPointer() const {
    if (!viewport()->underMouse()) return {};
    return rowAt(viewport()->mapFromGlobal(QPointF(QCursor::pos())));
  }

  bool press(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton) return false;
    auto table = sharedFrom(this->table());
    const auto row = rowAt(event.position());
    if (!table || !row) return false;
    table->userDidPressRow(row);
    markRows();
    return true;
  }

  bool drag(const QMouseEvent& event) {
    auto table = sharedFrom(this->table());
    if (!table || !table->pressedRow()) return false;
    if (rowAt(event.position()) != table->pressedRow()) {
      table->userDidPressRow({});
      markRows();
    }
    return true;
  }

  bool release(const QMouseEvent& event) {
    auto table = sharedFrom(this->table());
    // None after a reload: another row may be there now than the one that was meant.
    const auto row = table ? table->pressedRow() : std::nullopt;
    if (event.button() != Qt::LeftButton || !row) return false;
    const bool chosen = rowAt(event.position()) == row;
    table->userDidPressRow({});
    markRows();
    if (chosen) table->userDidChooseRow(*row);  // may close the screen, and this widget with it
    return true;
  }

  void markHover(std::optional<NSIndexPath> row) {
    auto* table = this->table();
    const auto cell = row ? table->cellForRowAtIndexPath(*row) : nullptr;
    ViewPeer* cellPeer = ViewPeer::of(cell.get());
    const bool shows = cellPeer && cellPeer->widget() &&
                       cell->selectionStyle() != UITableViewCellSelectionStyle::None;
    hover_->setVisible(shows);
    if (!shows) return;
    cellPeer->place();  // a cell that has just come may be unplaced yet
    hover_->setGeometry(cellPeer->widget()->geometry());
    hover_->raise();
  }

  bool passToSearch(UITableView& table, QKeyEvent& event) {
    const auto searchBar = searchBarFor(table);
    if (!searchBar) return false;
    searchBar->becomeFirstResponder();
    const ViewPeer* peer = ViewPeer::of(searchBar.get());
    if (!peer || !peer->focusTarget()) return false;
    auto* field = static_cast<QLineEdit*>(peer->focusTarget());
    field->end(false);
    QCoreApplication::sendEvent(field, &event);
    return true;
  }

  void announceRow(NSIndexPath row) {
    const auto cell = table()->cellForRowAtIndexPath(row);
    const ViewPeer* cellPeer = ViewPeer::of(cell.get());
    if (!cellPeer || !cellPeer->widget()) return;
    QAccessibleEvent event(cellPeer->widget(), QAccessible::Focus);
    QAccessible::updateAccessibility(&event);
  }

  HoverMark* hover_;
  std::optional<NSIndexPath> announcedRow_;
};

/// A cell's background; tells its table when the pointer comes and goes.
class CellWidget : public PlainWidget {
 public:
  using PlainWidget::PlainWidget;

 protected:
  void enterEvent(QEnterEvent*) override { tellTable(); }
  void leaveEvent(QEvent*) override { tellTable(); }

 private:
  void tellTable() {
    auto* table = dynamic_cast<TableWidget*>(
        ViewWidget::of(parentWidget() ? parentWidget()->parentWidget() : nullptr));
    if (table) table->markRows();
  }
};

CellPeer::CellPeer(UITableViewCell& cell) : ViewPeer(cell) { setWidget(new CellWidget(this)); }

TablePeer::TablePeer(UITableView& tableView) : ScrollPeer(tableView, new TableWidget(this)) {}

void TablePeer::apply() {
  ScrollPeer::apply();
  static_cast<TableWidget*>(widget())->markRows();
}

}  // namespace tasklane::qt

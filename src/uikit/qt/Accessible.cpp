#include "uikit/qt/Accessible.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QApplication>
#include <QPlainTextEdit>
#include <algorithm>
#include <memory>
#include <utility>

#include "uikit/controls/UIButton.h"
#include "uikit/controls/UIImageView.h"
#include "uikit/controls/UILabel.h"
#include "uikit/controls/UITextView.h"
#include "uikit/navigation/UINavigationBar.h"
#include "uikit/navigation/UISearchBar.h"
#include "uikit/qt/AccessibleRows.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/ViewPeer.h"
#include "uikit/tables/UITableView.h"
#include "uikit/views/UIViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::qt {

namespace {

// What has its middles no further apart stands in one line.
constexpr int kSameLine = 12;
// The name of the object that carries an announcement.
const QString kAnnouncement = QStringLiteral("announcement");

template <class View>
bool isA(const UIView& view) {
  return dynamic_cast<const View*>(&view) != nullptr;
}

/// Whether a view is a node of its own in the tree that a screen reader sees; others only pass on
/// their subviews.
bool isNode(const UIView& view) {
  if (view.isAccessibilityElement() || isA<UIWindow>(view) || isA<UIButton>(view) ||
      isA<UITextView>(view) || isA<UISearchBar>(view) || isA<UITableView>(view) ||
      isA<UITableViewCell>(view) || isA<UITableViewHeaderFooterView>(view) ||
      isA<UINavigationBar>(view))
    return true;
  const auto* label = dynamic_cast<const UILabel*>(&view);
  return label && label->text() && !label->text()->empty();
}

QAccessible::Role roleOf(const UIView& view) {
  const UIAccessibilityTraits traits = view.accessibilityTraits();
  if (isA<UIWindow>(view)) return QAccessible::Dialog;
  if (isA<UITableView>(view)) return QAccessible::List;
  if (isA<UITableViewCell>(view)) return QAccessible::ListItem;
  if (isA<UINavigationBar>(view)) return QAccessible::ToolBar;
  if (isA<UITableViewHeaderFooterView>(view) || (traits & UIAccessibilityTraitHeader))
    return QAccessible::Heading;
  if (isA<UIButton>(view) || (traits & UIAccessibilityTraitButton)) return QAccessible::Button;
  if (traits & UIAccessibilityTraitLink) return QAccessible::Link;
  if (isA<UIImageView>(view) || (traits & UIAccessibilityTraitImage)) return QAccessible::Graphic;
  if (isA<UILabel>(view) || (traits & UIAccessibilityTraitStaticText))
    return QAccessible::StaticText;
  return QAccessible::Grouping;
}

QWidget* widgetOf(const UIView& view) {
  const ViewPeer* peer = ViewPeer::of(&view);
  return peer ? peer->widget() : nullptr;
}

void collectNodes(const UIView& view, QList<QAccessibleInterface*>& found) {
  // A row is one element: its texts are in its name. Only what can be pressed stands apart.
  const bool isRow = isA<UITableViewCell>(view);
  auto subviews = view.subviews();
  // What stands in a list above its rows stands beside the list: in the list only rows are counted.
  for (const auto& subview : view.subviews())
    if (const auto* table = dynamic_cast<const UITableView*>(subview.get()))
      if (table->tableHeaderView()) subviews.push_back(table->tableHeaderView());
  for (const auto& subview : subviews) {
    QWidget* widget = widgetOf(*subview);
    if (!widget || subview->isHidden()) continue;
    const bool counts = isNode(*subview) && (!isRow || subview->canBecomeFirstResponder());
    if (counts)
      found.append(QAccessible::queryAccessibleInterface(widget));
    else if (!isRow)
      collectNodes(*subview, found);
  }
}

/// The table above whose rows a view stands, or null.
const UITableView* tableUnder(const UIView& view) {
  const auto table = std::dynamic_pointer_cast<UITableView>(view.superview());
  return table && table->tableHeaderView().get() == &view ? table.get() : nullptr;
}

class ViewAccessible : public QAccessibleWidget {
 public:
  explicit ViewAccessible(QWidget* widget) : QAccessibleWidget(widget) {
    if (auto* table = dynamic_cast<UITableView*>(view()))
      rows_ = std::make_unique<AccessibleRows>(*table);
  }

  QList<QAccessibleInterface*> children() const {
    QList<QAccessibleInterface*> found;
    const UIView* view = this->view();
    if (!view) return found;
    collectNodes(*view, found);
    if (isA<UISearchBar>(*view))
      if (QWidget* field = ViewPeer::of(view)->focusTarget())
        found.append(QAccessible::queryAccessibleInterface(field));
    sortForReading(found);
    if (isA<UIWindow>(*view))
      for (QObject* child : widget()->children())
        if (child->objectName() == kAnnouncement)
          found.append(QAccessible::queryAccessibleInterface(child));
    return found;
  }

  int childCount() const override {
    if (rows_) return view() ? rows_->count() : 0;
    return static_cast<int>(children().size());
  }
  QAccessibleInterface* child(int index) const override {
    if (rows_) return view() ? rows_->at(index) : nullptr;
    return children().value(index);
  }
  int indexOfChild(const QAccessibleInterface* child) const override {
    if (rows_) return view() && child ? rows_->indexOf(*child) : -1;
    const auto all = children();
    for (qsizetype i = 0; i < all.size(); ++i)
      if (all[i] && child && all[i]->object() == child->object()) return static_cast<int>(i);
    return -1;
  }
  QAccessibleInterface* focusChild() const override {
    if (const auto* table = dynamic_cast<const UITableView*>(view())) {
      const auto row = table->isFirstResponder() ? table->focusedRow() : std::nullopt;
      const auto cell =
          row ? std::const_pointer_cast<UITableView>(
                    std::static_pointer_cast<const UITableView>(table->shared_from_this()))
                    ->cellForRowAtIndexPath(*row)
              : nullptr;
      if (QWidget* widget = cell ? widgetOf(*cell) : nullptr)
        return QAccessible::queryAccessibleInterface(widget);
    }
    for (QAccessibleInterface* each : children())
      if (QAccessibleInterface* focused = each ? each->focusChild() : nullptr) return focused;
    return state().focused ? const_cast<ViewAccessible*>(this) : nullptr;
  }

  QAccessibleInterface* parent() const override {
    const UIView* view = this->view();
    if (!view) return QAccessible::queryAccessibleInterface(qApp);
    const UITableView* under = tableUnder(*view);
    for (auto above = view->superview(); above; above = above->superview())
      if (isNode(*above) && widgetOf(*above) && above.get() != under)
        return QAccessible::queryAccessibleInterface(widgetOf(*above));
    return QAccessible::queryAccessibleInterface(qApp);
  }

  QString text(QAccessible::Text kind) const override {
    const UIView* view = this->view();
    if (!view) return {};
    switch (kind) {
      case QAccessible::Name:
        return toQString(accessibleName(*view));
      case QAccessible::Value:
        return toQString(view->accessibilityValue().value_or(std::string()));
      case QAccessible::Description:
        return toQString(view->accessibilityHint().value_or(std::string()));
      default:
        return {};
    }
  }

  QAccessible::Role role() const override { return view() ? roleOf(*view()) : QAccessible::NoRole; }

  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    const UIView* view = this->view();
    if (!view) {
      state.invalid = true;
      return state;
    }
    const UIAccessibilityTraits traits = view->accessibilityTraits();
    if (isA<UIWindow>(*view)) state.modal = false;
    // Its field has the keyboard; two elements cannot.
    if (isA<UISearchBar>(*view)) state.focusable = state.focused = false;
    if (isNode(*view) && (traits & UIAccessibilityTraitNotEnabled)) state.disabled = true;
    if (traits & UIAccessibilityTraitSelected) state.selected = state.selectable = true;
    if (const auto* cell = dynamic_cast<const UITableViewCell*>(view)) rowState(*cell, state);
    return state;
  }

  QStringList actionNames() const override {
    const UIView* view = this->view();
    if (!view) return {};
    // A tap on a row that says it is not enabled has its effect too.
    if (isA<UITableViewCell>(*view)) return rowActions();
    if (state().disabled) return {};
    QStringList names;
    if (isA<UIButton>(*view)) names << pressAction();
    if (view->canBecomeFirstResponder()) names << setFocusAction();
    return names;
  }

  void doAction(const QString& name) override {
    auto view = sharedFrom(this->view());
    if (!view) return;
    if (const auto* cell = dynamic_cast<const UITableViewCell*>(view.get())) {
      const auto table = tableOf(*cell);
      const auto row = table ? table->indexPathForCell(*cell) : std::nullopt;
      if (row) performRowAction(*table, *row, name);
      return;
    }
    if (state().disabled) return;
    if (name == setFocusAction())
      view->becomeFirstResponder();
    else if (auto* button = dynamic_cast<UIButton*>(view.get()); button && name == pressAction())
      button->press();
  }

 private:
  UIView* view() const {
    const auto* viewWidget = ViewWidget::of(object());
    return viewWidget ? viewWidget->view() : nullptr;
  }

  static std::shared_ptr<UITableView> tableOf(const UITableViewCell& cell) {
    for (auto above = cell.superview(); above; above = above->superview())
      if (auto table = std::dynamic_pointer_cast<UITableView>(above)) return table;
    return nullptr;
  }

  static void rowState(const UITableViewCell& cell, QAccessible::State& state) {
    const auto table = tableOf(cell);
    const auto row = table ? table->indexPathForCell(cell) : std::nullopt;
    state.selectable = state.focusable = true;
    if (cell.isSelected()) state.selected = true;
    if (cell.accessoryType() == UITableViewCellAccessoryType::Checkmark)
      state.checkable = state.checked = state.selected = true;
    if (table && row && table->isFirstResponder() && table->focusedRow() == row)
      state.focused = true;
  }

  std::unique_ptr<AccessibleRows> rows_;

  /// Subviews stand in the order of drawing (a bar is drawn last, reused rows anyhow); what is read
  /// goes from the top, in the direction of reading.
  static void sortForReading(QList<QAccessibleInterface*>& found) {
    const bool mirrored = QGuiApplication::layoutDirection() == Qt::RightToLeft;
    const auto key = [mirrored](QAccessibleInterface* each) {
      const QRect rect = each->rect();
      int middle = rect.center().y();
      // What has been scrolled out of sight above a list does not come before the bar.
      const auto* viewWidget = ViewWidget::of(each->object());
      if (const auto* view = viewWidget ? viewWidget->view() : nullptr)
        if (const auto* table = tableUnder(*view))
          middle = std::max(middle, widgetOf(*table)->mapToGlobal(QPoint()).y());
      return std::pair(middle / kSameLine, mirrored ? -rect.right() : rect.left());
    };
    std::stable_sort(found.begin(), found.end(), [&](auto* a, auto* b) { return key(a) < key(b); });
  }
};

/// A text that a screen reader says when it is shown: nobody sees it.
class Announcement : public QWidget {
 public:
  Announcement(QWidget* window, const QString& text) : QWidget(window) {
    setObjectName(kAnnouncement);
    setAccessibleName(text);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setGeometry(0, 0, 1, 1);
    show();
  }
};

class AnnouncementAccessible : public QAccessibleWidget {
 public:
  explicit AnnouncementAccessible(QWidget* widget)
      : QAccessibleWidget(widget, QAccessible::Notification) {}
};

QAccessibleInterface* makeInterface(const QString&, QObject* object) {
  if (auto* announcement = dynamic_cast<Announcement*>(object))
    return new AnnouncementAccessible(announcement);
  auto* widget = qobject_cast<QWidget*>(object);
  // Editors keep Qt's own interfaces, which know carets and selections.
  if (!widget || !ViewWidget::of(widget) || qobject_cast<QPlainTextEdit*>(widget)) return nullptr;
  return new ViewAccessible(widget);
}

}  // namespace

std::string accessibleName(const UIView& view) {
  if (const auto* window = dynamic_cast<const UIWindow*>(&view)) return window->title();
  std::string name = view.accessibilityLabel().value_or(std::string());
  if (const auto screen = view.viewController(); screen && name.empty() && isA<UITableView>(view))
    name = screen->title();
  if (isA<UITableViewCell>(view))
    if (const auto value = view.accessibilityValue(); value && !value->empty())
      name += name.empty() ? *value : ", " + *value;
  return name;
}

void installAccessibility() { QAccessible::installFactory(makeInterface); }

void announceText(const std::string& text) {
  if (!QAccessible::isActive()) return;
  const auto all = QApplication::topLevelWidgets();
  if (text.empty()) {
    for (QWidget* window : all) {
      auto* said = window->findChild<QWidget*>(kAnnouncement, Qt::FindDirectChildrenOnly);
      if (!said) continue;
      said->setParent(nullptr);
      said->deleteLater();
    }
    return;
  }
  QWidget* window = QApplication::activeWindow();
  for (QWidget* each : all)
    if (!window && each->isVisible() && ViewWidget::of(each)) window = each;
  if (!window) return;
  auto* widget = window->findChild<QWidget*>(kAnnouncement, Qt::FindDirectChildrenOnly);
  if (!widget) {
    new Announcement(window, toQString(text));
    return;
  }
  widget->setAccessibleName(toQString(text));
  QAccessibleEvent shown(widget, QAccessible::ObjectShow);
  QAccessible::updateAccessibility(&shown);
}

}  // namespace tasklane::qt

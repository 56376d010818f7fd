#pragma once

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointingDevice>
#include <QTest>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/events/NSRunLoop.h"
#include "uikit/compose-sheet/SLComposeServiceViewController.h"
#include "uikit/navigation/UISearchController.h"
#include "uikit/qt/UpdateQueue.h"
#include "uikit/qt/ViewPeer.h"
#include "uikit/tables/UITableViewController.h"
#include "uikit/views/UIWindow.h"

/// What the tests of the widgets share: windows that are really shown (on Qt's offscreen platform),
/// a screen with a searchable list, a compose sheet with rows.
namespace tasklane::qt {

inline bool waitFor(const std::function<bool()>& condition) {
  return NSRunLoop::mainRunLoop().runUntil(condition, std::chrono::seconds(60));
}

template <class Widget = QWidget>
Widget* widgetOf(const std::shared_ptr<UIView>& view) {
  const ViewPeer* peer = ViewPeer::of(view);
  return peer ? dynamic_cast<Widget*>(peer->focusTarget() ? peer->focusTarget() : peer->widget())
              : nullptr;
}

inline QPoint centerOf(const QWidget* widget) { return widget->rect().center(); }

/// A finger on a touch screen: every call is one event at a place in the window.
class Finger {
 public:
  explicit Finger(const QWidget* window) : window_(window->windowHandle()) {}
  void press(QPoint place) { QTest::touchEvent(window_, screen()).press(0, place, window_); }
  void move(QPoint place) { QTest::touchEvent(window_, screen()).move(0, place, window_); }
  void lift(QPoint place) { QTest::touchEvent(window_, screen()).release(0, place, window_); }
  /// To be called before the window is made.
  static QPointingDevice* screen() {
    static QPointingDevice* device = QTest::createTouchDevice();
    return device;
  }

 private:
  QWindow* window_;
};

/// A window on the screen with one controller in it, active, closed at the end.
class ShownWindow {
 public:
  explicit ShownWindow(const std::shared_ptr<UIViewController>& root, CGSize size = {400, 480})
      : window(std::make_shared<UIWindow>(CGRect{{0, 0}, size})) {
    window->setTitle("Tasklane");
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    if (!QTest::qWaitForWindowActive(widget())) throw std::runtime_error("no active window");
    UpdateQueue::shared().flush();
  }
  ~ShownWindow() { window->close(); }

  QWidget* widget() const { return ViewPeer::of(window)->widget(); }
  /// Presses a key wherever the keyboard is.
  void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const {
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus ? focus : widget(), key, modifiers);
    UpdateQueue::shared().flush();
  }
  void type(const QString& text) const {
    for (const QChar c : text) {
      QTest::keyClick(QApplication::focusWidget(), c.toLatin1());
      UpdateQueue::shared().flush();
    }
  }

  std::shared_ptr<UIWindow> window;
};

/// A list of numbered titles with a search field in its header view.
class ListScreen : public UITableViewController, public UISearchResultsUpdating {
 public:
  explicit ListScreen(std::size_t count) : UITableViewController(UITableViewStyle::Plain) {
    for (std::size_t i = 0; i < count; ++i) titles_.push_back("Project " + std::to_string(i));
    shown_ = titles_;
    setTitle("Projects");
  }

  void viewDidLoad() override {
    UITableViewController::viewDidLoad();
    tableView()->registerClassForCellReuseIdentifier<UITableViewCell>("row");
    search = UISearchController::make(nullptr);
    search->setSearchResultsUpdater(std::static_pointer_cast<ListScreen>(shared_from_this()));
    search->searchBar()->setPlaceholder("Search");
    search->searchBar()->setFrame({0, 0, 0, 56});
    tableView()->setTableHeaderView(search->searchBar());
    setDefinesPresentationContext(true);
  }
  std::size_t numberOfRowsInSection(UITableView&, std::size_t) override { return shown_.size(); }
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& table,
                                                         NSIndexPath path) override {
    const auto cell = table.dequeueReusableCellWithIdentifier("row", path);
    cell->textLabel()->setText(shown_[path.row]);
    return cell;
  }
  void didSelectRowAtIndexPath(UITableView&, NSIndexPath path) override {
    chosen.push_back(shown_[path.row]);
  }
  void updateSearchResultsForSearchController(UISearchController& controller) override {
    shown_.clear();
    for (const auto& title : titles_)
      if (title.find(controller.searchBar()->text()) != std::string::npos) shown_.push_back(title);
    tableView()->reloadData();
  }

  std::shared_ptr<UISearchController> search;
  std::vector<std::string> chosen;

 private:
  std::vector<std::string> titles_, shown_;
};

/// A compose sheet with three rows; the second opens a list.
class Sheet : public SLComposeServiceViewController {
 public:
  Sheet() { setTitle("Tasklane"); }
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() override {
    std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> items;
    for (const char* title : {"Notes", "Project", "Context"}) {
      items.push_back(std::make_shared<SLComposeSheetConfigurationItem>());
      items.back()->setTitle(title);
    }
    items[1]->setValue("Home");
    items[1]->setTapHandler([this] {
      list = std::make_shared<ListScreen>(20);
      pushConfigurationViewController(list);
    });
    return items;
  }
  void didSelectPost() override { ++posts; }
  void didSelectCancel() override { ++cancels; }

  std::shared_ptr<ListScreen> list;
  int posts = 0, cancels = 0;
};

template <class View>
std::shared_ptr<View> findView(const std::shared_ptr<UIView>& root) {
  if (auto found = std::dynamic_pointer_cast<View>(root)) return found;
  for (const auto& subview : root->subviews())
    if (auto found = findView<View>(subview)) return found;
  return nullptr;
}

}  // namespace tasklane::qt

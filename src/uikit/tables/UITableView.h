#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/tables/NSIndexPath.h"
#include "uikit/tables/UITableViewCell.h"
#include "uikit/views/UIScrollView.h"

namespace tasklane {

class UITableView;

enum class UITableViewStyle { Plain = 0, Grouped = 1 };
enum class UITableViewScrollPosition { None = 0, Top = 1, Middle = 2, Bottom = 3 };

/// As a row's height: the row sizes itself.
inline constexpr CGFloat UITableViewAutomaticDimension = -1;

/// Where a table's rows come from.
class UITableViewDataSource {
 public:
  virtual ~UITableViewDataSource() = default;
  virtual std::size_t numberOfSectionsInTableView(UITableView& tableView) {
    (void)tableView;
    return 1;
  }
  virtual std::size_t numberOfRowsInSection(UITableView& tableView, std::size_t section) = 0;
  /// Never null.
  virtual std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& tableView,
                                                                 NSIndexPath indexPath) = 0;
  virtual std::optional<std::string> titleForHeaderInSection(UITableView& tableView,
                                                             std::size_t section) {
    (void)tableView, (void)section;
    return {};
  }
};

/// What a table tells and asks while it shows rows and a person uses them.
class UITableViewDelegate : public UIScrollViewDelegate {
 public:
  virtual CGFloat heightForRowAtIndexPath(UITableView& tableView, NSIndexPath indexPath);
  virtual CGFloat estimatedHeightForRowAtIndexPath(UITableView& tableView, NSIndexPath indexPath);
  virtual void willDisplayCell(UITableView& tableView, UITableViewCell& cell,
                               NSIndexPath indexPath) {
    (void)tableView, (void)cell, (void)indexPath;
  }
  virtual void willDisplayHeaderView(UITableView& tableView, UIView& headerView,
                                     std::size_t section) {
    (void)tableView, (void)headerView, (void)section;
  }
  /// A person chose a row.
  virtual void didSelectRowAtIndexPath(UITableView& tableView, NSIndexPath indexPath) {
    (void)tableView, (void)indexPath;
  }
};

/// A list of rows in sections. It keeps cells for the rows on screen only and hands them back for
/// reuse; a list of 100,000 rows opens as fast as one of 20. A row's cell is known only while it is
/// on screen. Rows size themselves; an estimate stands until a row has been seen, and scrolling
/// never jumps because of it.
class UITableView : public UIScrollView {
 public:
  UITableView(CGRect frame, UITableViewStyle style);

  UITableViewStyle style() const { return style_; }
  /// Both are held weakly.
  void setDataSource(const std::weak_ptr<UITableViewDataSource>& dataSource);
  std::shared_ptr<UITableViewDataSource> dataSource() const { return dataSource_.lock(); }
  void setDelegate(const std::weak_ptr<UITableViewDelegate>& delegate);
  std::shared_ptr<UITableViewDelegate> delegate() const { return delegate_.lock(); }

  /// Asks the data source again for everything; the cells on screen are handed back for reuse.
  virtual void reloadData();

  std::size_t numberOfSections();
  std::size_t numberOfRowsInSection(std::size_t section);

  // Reuse.
  using CellClass = std::function<std::shared_ptr<UITableViewCell>(
      UITableViewCellStyle style, const std::string& reuseIdentifier)>;
  void registerClassForCellReuseIdentifier(CellClass cellClass, const std::string& identifier);
  template <class Cell>
  void registerClassForCellReuseIdentifier(const std::string& identifier) {
    registerClassForCellReuseIdentifier(
        [](UITableViewCellStyle style, const std::string& name) {
          return std::make_shared<Cell>(style, name);
        },
        identifier);
  }
  /// A cell to fill for a row: a used one after its prepareForReuse, or a new one of the registered
  /// class. An identifier without a class is a programming error.
  std::shared_ptr<UITableViewCell> dequeueReusableCellWithIdentifier(const std::string& identifier,
                                                                     NSIndexPath forIndexPath);

  /// The row's cell while it is on screen, else null.
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(NSIndexPath indexPath);
  /// A cell filled for a row, for a question about its texts: the one on screen, else one that is
  /// not shown and may be filled for another row at the next question. Null where there is no row.
  std::shared_ptr<UITableViewCell> cellOutOfSight(NSIndexPath indexPath);
  /// The section's title while it is on screen, else null.
  std::shared_ptr<UITableViewHeaderFooterView> headerViewForSection(std::size_t section);
  std::optional<NSIndexPath> indexPathForCell(const UITableViewCell& cell) const;
  std::vector<NSIndexPath> indexPathsForVisibleRows();
  std::optional<NSIndexPath> indexPathForRowAtPoint(CGPoint point);
  CGRect rectForRowAtIndexPath(NSIndexPath indexPath);
  CGRect rectForHeaderInSection(std::size_t section);
  void scrollToRowAtIndexPath(NSIndexPath indexPath, UITableViewScrollPosition position,
                              bool animated);

  // Selection. One row at a time.
  std::optional<NSIndexPath> indexPathForSelectedRow() const { return selectedRow_; }
  void selectRowAtIndexPath(std::optional<NSIndexPath> indexPath, bool animated,
                            UITableViewScrollPosition scrollPosition);
  void deselectRowAtIndexPath(NSIndexPath indexPath, bool animated);

  const std::optional<UIColor>& separatorColor() const { return separatorColor_; }
  void setSeparatorColor(const std::optional<UIColor>& color);
  /// Scrolls with the content, above section 0; only its height is used.
  const std::shared_ptr<UIView>& tableHeaderView() const { return tableHeaderView_; }
  void setTableHeaderView(const std::shared_ptr<UIView>& view);

  // Keyboard and pointer; the backend calls these.
  enum class Key { Up, Down, PageUp, PageDown, Home, End, Choose };
  /// Moves the keyboard's row or chooses it; answers whether the key meant anything here. Up from
  /// the first row answers false, so that the focus can leave. A row that has been scrolled out of
  /// sight is shown before a key chooses it or leaves it.
  bool handleKey(Key key);
  /// The row that the keyboard is on, shown as focused while the table is the first responder.
  std::optional<NSIndexPath> focusedRow() const { return focusedRow_; }
  void setFocusedRow(std::optional<NSIndexPath> indexPath);
  /// Whether Tab stops at every row, as in a form; otherwise it stops at the table once, as in a
  /// list.
  bool tabStopsAtRows() const { return tabStopsAtRows_; }
  void setTabStopsAtRows(bool flag) { tabStopsAtRows_ = flag; }
  void userDidPressRow(std::optional<NSIndexPath> indexPath);  ///< highlights; none ends it
  /// The row that is being pressed. A reload ends a press.
  std::optional<NSIndexPath> pressedRow() const;
  void userDidChooseRow(NSIndexPath indexPath);

  /// From a search field in the header view: puts the keyboard on the first row. Answers false
  /// where there is no row.
  bool focusFirstRow();

  bool canBecomeFirstResponder() const override { return true; }
  bool becomeFirstResponder() override;
  bool resignFirstResponder() override;
  void layoutSubviews() override;
  void setFrame(CGRect frame) override;
  /// A header view may always be scrolled out of sight, also over a list that is shorter than the
  /// table.
  CGPoint farthestOffset() const override;

 protected:
  void didScroll() override;

 private:
  struct Tiling;
  enum class Pass { Whole, Interrupted };

  // Counting and tiling.
  void learnCounts();
  bool countsStillHold();
  CGFloat heightOfHeader(const std::string& title);
  CGFloat estimateForSection(std::size_t section);
  void tileIfNeeded();
  void tile();
  void measureAgain();
  Pass tilePass();
  std::optional<NSIndexPath> rowToKeepInPlace() const;
  Pass showRowsAround(std::optional<NSIndexPath> fixed, CGFloat& y);
  bool showRow(NSIndexPath path);
  void measureRow(NSIndexPath path, UITableViewCell& cell);
  void showHeaders(std::size_t first, std::size_t last);
  void placeRows();
  void recycleRow(NSIndexPath path);
  void recycleRowsOffScreen();
  void recycleAll();
  void prepareCellForRow(UITableViewCell& cell, NSIndexPath path);
  bool hasSeparatorBelow(NSIndexPath path) const;

  // Focus and selection.
  std::shared_ptr<UITableViewCell> shownCell(std::optional<NSIndexPath> path) const;
  std::optional<NSIndexPath> rowForKey(Key key);
  void showFocus();

  UITableViewStyle style_;
  std::weak_ptr<UITableViewDataSource> dataSource_;
  std::weak_ptr<UITableViewDelegate> delegate_;
  std::shared_ptr<Tiling> tiling_;
  std::shared_ptr<UIView> tableHeaderView_;
  std::optional<NSIndexPath> selectedRow_, focusedRow_;
  std::optional<UIColor> separatorColor_;
  bool tabStopsAtRows_ = false;
};

}  // namespace tasklane

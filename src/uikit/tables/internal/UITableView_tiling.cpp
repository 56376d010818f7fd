#include "uikit/tables/internal/UITableView_tiling.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "foundation/base/NSLog.h"
#include "uikit/base/ProgrammingError.h"

// Which rows have a cell, and where. A pass makes the cells of the rows that the bounds show,
// measures each when it comes on screen and keeps what was on screen where it was.

namespace tasklane {
namespace {

/// As often as a data source may call for a reload from inside its own answers.
constexpr int kMostPasses = 10;
constexpr UIColor kSeparator{0.78, 0.78, 0.8, 1};

}  // namespace

void UITableView::tileIfNeeded() {
  if (!tiling_->tiled) tile();
}

void UITableView::tile() {
  Tiling& tiling = *tiling_;
  if (tiling.running) return;  // the pass that is on its way sees the change
  const auto keepAlive = weak_from_this().lock();
  if (bounds().size.height <= 0 || bounds().size.width <= 0 || dataSource_.expired()) {
    recycleAll();
    return;
  }
  tiling.running = true;
  int passes = 0;
  while (tilePass() == Pass::Interrupted && ++passes < kMostPasses) recycleAll();
  tiling.running = false;
  tiling.tiled = passes < kMostPasses;
  if (tiling.tiled) return;
  recycleAll();
  NSLog(description() + ": the data source reloads the table whenever it is asked for a row");
}

/// The topmost row that is on screen already and still will be.
std::optional<NSIndexPath> UITableView::rowToKeepInPlace() const {
  const auto& geometry = tiling_->geometry;
  const CGFloat top = contentOffset().y, bottom = top + bounds().size.height;
  for (const auto& [path, cell] : tiling_->cells) {
    const CGFloat rowTop = geometry.rowTop(path);
    if (rowTop + geometry.rowHeight(path) > top && rowTop < bottom) return path;
  }
  return {};
}

/// Shows the rows around one, upwards and downwards, for a content offset. Rows above it that turn
/// out higher or lower than estimated move the offset, not what is on screen.
UITableView::Pass UITableView::showRowsAround(std::optional<NSIndexPath> fixed, CGFloat& y) {
  Tiling& tiling = *tiling_;
  const auto& geometry = tiling.geometry;
  tiling.firstShown = tiling.lastShown = fixed;
  if (!fixed) return Pass::Whole;
  const CGFloat distance = geometry.rowTop(*fixed) - y;
  const CGFloat height = bounds().size.height;
  for (auto row = geometry.rowBefore(*fixed); row; row = geometry.rowBefore(*row)) {
    if (geometry.rowTop(*row) + geometry.rowHeight(*row) <= y) break;
    if (!showRow(*row)) return Pass::Interrupted;
    y = geometry.rowTop(*fixed) - distance;
    tiling.firstShown = row;
  }
  for (auto row = fixed; row; row = geometry.rowAfter(*row)) {
    if (row != fixed && geometry.rowTop(*row) >= y + height) break;
    if (!showRow(*row)) return Pass::Interrupted;
    tiling.lastShown = row;
  }
  return Pass::Whole;
}

/// After a change of the width: what wraps has another height.
void UITableView::measureAgain() {
  for (std::size_t i = 0; i < tiling_->titles.size(); ++i) {
    const auto& title = tiling_->titles[i];
    if (title) tiling_->geometry.setHeaderHeight(i, heightOfHeader(*title));
  }
  for (const auto cells = tiling_->cells; const auto& [path, cell] : cells) {
    if (!tiling_->isStale()) measureRow(path, *cell);
  }
}

UITableView::Pass UITableView::tilePass() {
  Tiling& tiling = *tiling_;
  learnCounts();
  const CGFloat before = tiling.geometry.totalHeight();
  tiling.passGeneration = tiling.generation;
  if (std::exchange(tiling.widthChanged, false)) measureAgain();
  if (tiling.isStale()) return Pass::Interrupted;
  CGFloat y = contentOffset().y;
  auto fixed = rowToKeepInPlace();
  recycleRowsOffScreen();  // before others are shown, which can then have their cells
  bool atEnd = false;
  for (int round = 0; round < 4; ++round) {
    if (!fixed) fixed = tiling.geometry.rowNear(y);
    if (showRowsAround(fixed, y) == Pass::Interrupted) return Pass::Interrupted;
    const bool mayClamp = tiling.contentMayShrink || tiling.geometry.totalHeight() < before;
    if ((mayClamp && y > farthestOffset().y) || (atEnd && y < farthestOffset().y)) {
      y = farthestOffset().y;
      atEnd = true;
    } else if (y != contentOffset().y && y < 0) {
      y = 0;
    } else {
      break;
    }
    fixed.reset();
  }
  tiling.contentMayShrink = false;
  if (y != contentOffset().y) {
    tiling.adjusting = true;
    setBounds({{contentOffset().x, y}, bounds().size});  // an animated scrolling goes on
    tiling.adjusting = false;
  }
  if (!tiling.isStale()) placeRows();
  tiling.countsAreFresh = false;
  return !tiling.isStale() ? Pass::Whole : Pass::Interrupted;
}

CGPoint UITableView::farthestOffset() const {
  const auto& geometry = tiling_->geometry;
  const CGFloat end = geometry.totalHeight() - bounds().size.height;
  return {UIScrollView::farthestOffset().x, std::max({end, geometry.top(), 0.0})};
}

/// Makes sure that a row has a cell. Answers false when the rows are not what they were: then the
/// pass begins again.
bool UITableView::showRow(NSIndexPath path) {
  Tiling& tiling = *tiling_;
  if (tiling.cells.contains(path)) return true;
  if (!countsStillHold()) {
    tiling.countsKnown = false;
    tiling.contentMayShrink = true;
    selectedRow_.reset();
    return false;
  }
  const auto source = dataSource();
  if (!source) return false;
  const auto cell = source->cellForRowAtIndexPath(*this, path);
  if (!cell) detail::programmingError("cellForRowAtIndexPath must answer a cell");
  tiling.cells[path] = cell;
  if (tiling.isStale()) return false;
  cell->setHidden(false);
  cell->setAutoresizingMask(UIViewAutoresizingNone);
  // Beneath section headers and whatever else lies over the rows.
  if (cell->superview().get() != this) insertSubviewAtIndex(cell, 0);
  cell->setSelected(selectedRow_ == path, false);
  cell->setHighlighted(tiling.pressedRow == path, false);
  cell->setFocused(isFirstResponder() && focusedRow_ == path);
  measureRow(path, *cell);
  if (tiling.isStale()) return false;
  prepareCellForRow(*cell, path);
  if (const auto delegate = this->delegate()) delegate->willDisplayCell(*this, *cell, path);
  return !tiling.isStale();
}

void UITableView::measureRow(NSIndexPath path, UITableViewCell& cell) {
  auto& geometry = tiling_->geometry;
  const CGFloat width = bounds().size.width;
  const auto delegate = this->delegate();
  CGFloat height =
      delegate ? delegate->heightForRowAtIndexPath(*this, path) : UITableViewAutomaticDimension;
  if (tiling_->isStale()) return;
  if (height < 0) {
    cell.setFrame({0, geometry.rowTop(path), width, geometry.rowHeight(path)});
    height = cell.systemLayoutSizeFittingSize({width, 0}).height;
  }
  geometry.setRowHeight(path, height);
  cell.setFrame({0, geometry.rowTop(path), width, height});
  cell.setNeedsLayout();
  cell.layoutIfNeeded();
}

bool UITableView::hasSeparatorBelow(NSIndexPath path) const {
  return path.row + 1 < tiling_->geometry.rowCount(path.section);
}

void UITableView::prepareCellForRow(UITableViewCell& cell, NSIndexPath path) {
  cell.setSeparator(hasSeparatorBelow(path)
                        ? std::optional<UIColor>(separatorColor_.value_or(kSeparator))
                        : std::nullopt);
}

void UITableView::placeRows() {
  Tiling& tiling = *tiling_;
  const auto& geometry = tiling.geometry;
  const CGFloat width = bounds().size.width;
  for (auto place = tiling.cells.begin(); place != tiling.cells.end();) {
    const NSIndexPath path = (place++)->first;
    const bool shown = tiling.firstShown && path >= *tiling.firstShown && path <= *tiling.lastShown;
    if (!shown) recycleRow(path);
  }
  for (const auto& [path, cell] : tiling.cells) {
    cell->setFrame({0, geometry.rowTop(path), width, geometry.rowHeight(path)});
  }
  if (tableHeaderView_) {
    tableHeaderView_->setFrame({0, 0, width, tableHeaderView_->frame().size.height});
  }
  const CGSize content{width, geometry.totalHeight()};
  if (content != contentSize()) {
    tiling.adjusting = true;
    setContentSize(content);
    tiling.adjusting = false;
  }
  if (geometry.sectionCount() == 0) return showHeaders(1, 0);
  const CGFloat top = contentOffset().y, bottom = top + bounds().size.height;
  std::size_t first = tiling.firstShown ? tiling.firstShown->section : 0;
  std::size_t last = tiling.lastShown ? tiling.lastShown->section : first;
  while (first > 0 && geometry.headerTop(first) > top) --first;
  while (last + 1 < geometry.sectionCount() && geometry.headerTop(last + 1) < bottom) ++last;
  showHeaders(first, last);
}

void UITableView::showHeaders(std::size_t first, std::size_t last) {
  Tiling& tiling = *tiling_;
  const bool allAnew = std::exchange(tiling.headersAreStale, false);
  for (auto place = tiling.headers.begin(); place != tiling.headers.end();) {
    const auto [section, view] = *place;
    const bool keeps = !allAnew && section >= first && section <= last &&
                       section < tiling.titles.size() &&
                       tiling.titles[section] == view->textLabel()->text();
    if (keeps) {
      ++place;
      continue;
    }
    view->setHidden(true);
    tiling.spareHeaders.push_back(view);
    place = tiling.headers.erase(place);
  }
  for (std::size_t i = first; i <= last && i < tiling.titles.size(); ++i) {
    if (!tiling.titles[i]) continue;
    auto& view = tiling.headers[i];
    const bool isNew = !view;
    if (isNew && !tiling.spareHeaders.empty()) {
      view = tiling.spareHeaders.back();
      tiling.spareHeaders.pop_back();
      view->setHidden(false);
    } else if (isNew) {
      view = std::make_shared<UITableViewHeaderFooterView>();
      addSubview(view);
    }
    const auto header = view;
    header->setFrame(rectForHeaderInSection(i));
    if (!isNew) continue;
    header->textLabel()->setText(tiling.titles[i]);
    header->setNeedsLayout();
    if (const auto delegate = this->delegate()) delegate->willDisplayHeaderView(*this, *header, i);
  }
}

void UITableView::recycleRow(NSIndexPath path) {
  const auto found = tiling_->cells.find(path);
  const auto cell = found->second;
  tiling_->cells.erase(found);
  if (!tiling_->classes.contains(cell->reuseIdentifier())) {
    cell->removeFromSuperview();  // nobody will ask for it again
    return;
  }
  cell->setHidden(true);
  tiling_->spares[cell->reuseIdentifier()].push_back({cell, path});
}

void UITableView::recycleRowsOffScreen() {
  const auto& geometry = tiling_->geometry;
  const CGFloat top = contentOffset().y, bottom = top + bounds().size.height;
  std::vector<NSIndexPath> leaving;
  for (const auto& [path, cell] : tiling_->cells) {
    const CGFloat rowTop = geometry.contains(path) ? geometry.rowTop(path) : bottom;
    if (rowTop >= bottom || rowTop + geometry.rowHeight(path) <= top) leaving.push_back(path);
  }
  for (const auto path : leaving) recycleRow(path);
}

void UITableView::recycleAll() {
  while (!tiling_->cells.empty()) recycleRow(tiling_->cells.begin()->first);
}

}  // namespace tasklane

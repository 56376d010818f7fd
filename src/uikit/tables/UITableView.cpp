#include "uikit/tables/UITableView.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uikit/base/ProgrammingError.h"
#include "uikit/tables/internal/UITableView_tiling.h"

namespace tasklane {

namespace {
constexpr int kMostLooks = 64;
constexpr CGFloat kEstimatedRowHeight = 44;
}  // namespace

CGFloat UITableViewDelegate::heightForRowAtIndexPath(UITableView&, NSIndexPath) {
  return UITableViewAutomaticDimension;
}

CGFloat UITableViewDelegate::estimatedHeightForRowAtIndexPath(UITableView&, NSIndexPath) {
  return UITableViewAutomaticDimension;
}

UITableView::UITableView(CGRect frame, UITableViewStyle style)
    : UIScrollView(frame), style_(style), tiling_(std::make_shared<Tiling>()) {}

void UITableView::setDataSource(const std::weak_ptr<UITableViewDataSource>& dataSource) {
  dataSource_ = dataSource;
  reloadData();
}

void UITableView::setDelegate(const std::weak_ptr<UITableViewDelegate>& delegate) {
  delegate_ = delegate;
  reloadData();
}

void UITableView::reloadData() {
  Tiling& tiling = *tiling_;
  tiling.countsKnown = false;
  ++tiling.generation;
  tiling.tiled = false;
  tiling.contentMayShrink = true;
  tiling.headersAreStale = true;
  tiling.pressedRow.reset();
  selectedRow_.reset();
  if (!tiling.running) recycleAll();
  setNeedsLayout();
}

// Counting.

std::size_t UITableView::numberOfSections() {
  learnCounts();
  return tiling_->geometry.sectionCount();
}

std::size_t UITableView::numberOfRowsInSection(std::size_t section) {
  learnCounts();
  return tiling_->geometry.rowCount(section);
}

CGFloat UITableView::heightOfHeader(const std::string& title) {
  auto& header = tiling_->measuringHeader;
  if (!header) header = std::make_shared<UITableViewHeaderFooterView>();
  header->textLabel()->setText(title);
  return header->sizeThatFits({bounds().size.width, 0}).height;
}

CGFloat UITableView::estimateForSection(std::size_t section) {
  const auto delegate = this->delegate();
  const CGFloat own =
      delegate ? delegate->estimatedHeightForRowAtIndexPath(*this, {section, 0}) : -1;
  return own >= 0 ? own : kEstimatedRowHeight;
}

/// Asks the data source how much there is, once after each reload. No row is asked for: it costs
/// the same whatever the number of rows.
void UITableView::learnCounts() {
  Tiling& tiling = *tiling_;
  if (tiling.countsKnown) return;
  ++tiling.generation;
  tiling.countsKnown = true;  // first, so that a reload from inside a question counts
  tiling.countsAreFresh = tiling.running;
  constexpr CGFloat kUntitledGap = 20, kBottomGap = 14;
  std::vector<detail::TableGeometry::Section> sections;
  std::vector<std::optional<std::string>> titles;
  if (const auto source = dataSource()) {
    const std::size_t count = source->numberOfSectionsInTableView(*this);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t rows = source->numberOfRowsInSection(*this, i);
      titles.push_back(source->titleForHeaderInSection(*this, i));
      const bool grouped = style_ == UITableViewStyle::Grouped;
      const CGFloat header =
          titles.back() ? heightOfHeader(*titles.back()) : (grouped ? kUntitledGap : 0);
      sections.push_back({header, detail::RowHeights(rows, rows > 0 ? estimateForSection(i) : 0),
                          grouped ? kBottomGap : 0});
    }
  }
  tiling.titles = std::move(titles);
  tiling.geometry.reset(std::move(sections));
  tiling.geometry.setTop(tableHeaderView_ ? tableHeaderView_->frame().size.height : 0);
  if (focusedRow_ && !tiling.geometry.contains(*focusedRow_)) {
    const auto near = tiling.geometry.lastRow();
    focusedRow_ = near && *near < *focusedRow_ ? near : tiling.geometry.firstRow();
  }
}

/// Whether the data source still has as many rows as it said. It may have changed without a
/// reload; asking it for a row that is gone would be its end.
bool UITableView::countsStillHold() {
  Tiling& tiling = *tiling_;
  if (!tiling.countsKnown) return false;
  if (tiling.countsAreFresh) return true;
  const auto source = dataSource();
  if (!source) return tiling.geometry.sectionCount() == 0;
  const std::size_t count = source->numberOfSectionsInTableView(*this);
  bool holds = count == tiling.geometry.sectionCount();
  for (std::size_t i = 0; i < count && holds; ++i) {
    holds = source->numberOfRowsInSection(*this, i) == tiling.geometry.rowCount(i);
  }
  tiling.countsAreFresh = holds;
  return holds;
}

// Reuse.

void UITableView::registerClassForCellReuseIdentifier(CellClass cellClass,
                                                      const std::string& identifier) {
  tiling_->classes[identifier] = std::move(cellClass);
}

std::shared_ptr<UITableViewCell> UITableView::dequeueReusableCellWithIdentifier(
    const std::string& identifier, NSIndexPath forIndexPath) {
  auto& spares = tiling_->spares[identifier];
  std::shared_ptr<UITableViewCell> cell;
  if (!spares.empty()) {
    // The cell that showed this very row, where there is one: then a reload moves nothing about.
    auto best = std::find_if(spares.begin(), spares.end(), [&](const Tiling::Spare& spare) {
      return spare.lastRow == forIndexPath;
    });
    if (best == spares.end()) best = spares.end() - 1;
    cell = best->cell;
    spares.erase(best);
    cell->prepareForReuse();
  } else {
    const auto found = tiling_->classes.find(identifier);
    if (found == tiling_->classes.end()) {
      detail::programmingError("no cell class is registered for the identifier '" + identifier +
                               "'; call registerClassForCellReuseIdentifier first");
    }
    cell = found->second(UITableViewCellStyle::Default, identifier);
  }
  const CGFloat height = cell->frame().size.height;
  cell->setFrame({cell->frame().origin, {bounds().size.width, height > 0 ? height : 44}});
  return cell;
}

// Rows.

std::shared_ptr<UITableViewCell> UITableView::shownCell(std::optional<NSIndexPath> path) const {
  const auto found = path ? tiling_->cells.find(*path) : tiling_->cells.end();
  return found == tiling_->cells.end() ? nullptr : found->second;
}

std::shared_ptr<UITableViewCell> UITableView::cellForRowAtIndexPath(NSIndexPath indexPath) {
  tileIfNeeded();
  return shownCell(indexPath);
}

std::shared_ptr<UITableViewCell> UITableView::cellOutOfSight(NSIndexPath indexPath) {
  if (auto shown = cellForRowAtIndexPath(indexPath)) return shown;
  tiling_->countsAreFresh = false;
  const auto source = dataSource();
  if (!countsStillHold() || !source || !tiling_->geometry.contains(indexPath)) return nullptr;
  tiling_->countsAreFresh = false;
  auto cell = source->cellForRowAtIndexPath(*this, indexPath);
  if (tiling_->classes.contains(cell->reuseIdentifier()))
    tiling_->spares[cell->reuseIdentifier()].push_back({cell, indexPath});
  return cell;
}

std::shared_ptr<UITableViewHeaderFooterView> UITableView::headerViewForSection(
    std::size_t section) {
  tileIfNeeded();
  const auto found = tiling_->headers.find(section);
  return found == tiling_->headers.end() ? nullptr : found->second;
}

std::optional<NSIndexPath> UITableView::indexPathForCell(const UITableViewCell& cell) const {
  for (const auto& [path, shown] : tiling_->cells) {
    if (shown.get() == &cell) return path;
  }
  return {};
}

std::vector<NSIndexPath> UITableView::indexPathsForVisibleRows() {
  tileIfNeeded();
  std::vector<NSIndexPath> paths;
  for (const auto& [path, cell] : tiling_->cells) paths.push_back(path);
  return paths;
}

std::optional<NSIndexPath> UITableView::indexPathForRowAtPoint(CGPoint point) {
  tileIfNeeded();
  learnCounts();
  const auto row = tiling_->geometry.rowNear(point.y);
  return row && rectForRowAtIndexPath(*row).contains(point) ? row : std::nullopt;
}

CGRect UITableView::rectForRowAtIndexPath(NSIndexPath indexPath) {
  learnCounts();
  const auto& geometry = tiling_->geometry;
  if (!geometry.contains(indexPath)) return {};
  return {0, geometry.rowTop(indexPath), bounds().size.width, geometry.rowHeight(indexPath)};
}

CGRect UITableView::rectForHeaderInSection(std::size_t section) {
  learnCounts();
  const auto& geometry = tiling_->geometry;
  if (section >= geometry.sectionCount()) return {};
  return {0, geometry.headerTop(section), bounds().size.width, geometry.headerHeight(section)};
}

void UITableView::scrollToRowAtIndexPath(NSIndexPath indexPath, UITableViewScrollPosition position,
                                         bool animated) {
  // Heights on the way are estimates until the rows are there: look again once they are. The higher
  // they turn out, the fewer rows a look makes.
  for (int look = 0; look < kMostLooks; ++look) {
    tileIfNeeded();
    learnCounts();
    if (!tiling_->geometry.contains(indexPath)) return;
    const CGRect row = rectForRowAtIndexPath(indexPath);
    const CGFloat room = bounds().size.height;
    const CGFloat now = contentOffset().y;
    CGFloat top = now;
    if (position == UITableViewScrollPosition::None) {
      if (row.maxY() > now + room) top = row.maxY() - room;
      if (row.minY() < top) top = row.minY();
    } else {
      const CGFloat spare = room - row.size.height;
      top = row.minY();
      if (position == UITableViewScrollPosition::Middle) top -= spare / 2;
      if (position == UITableViewScrollPosition::Bottom) top -= spare;
    }
    const CGFloat wanted = std::max(std::min(top, farthestOffset().y), 0.0);
    if (std::abs(wanted - now) < 0.5) return;
    setContentOffset({contentOffset().x, wanted}, animated);
    if (animated) return;
  }
}

// Looks.

void UITableView::setSeparatorColor(const std::optional<UIColor>& color) {
  if (color == separatorColor_) return;
  separatorColor_ = color;
  for (const auto& [path, cell] : tiling_->cells) prepareCellForRow(*cell, path);
}

void UITableView::setTableHeaderView(const std::shared_ptr<UIView>& view) {
  if (tableHeaderView_ && tableHeaderView_ != view) tableHeaderView_->removeFromSuperview();
  tableHeaderView_ = view;
  if (view) addSubview(view);
  tiling_->geometry.setTop(view ? view->frame().size.height : 0);
  tiling_->tiled = false;
  tiling_->contentMayShrink = true;
  setNeedsLayout();
}

void UITableView::setFrame(CGRect frame) {
  const CGSize before = bounds().size;
  UIView::setFrame(frame);  // what is beyond the content is known once the rows have been measured
  if (bounds().size == before) return;
  tiling_->tiled = false;
  if (bounds().size.height > before.height) tiling_->contentMayShrink = true;
  if (bounds().size.width == before.width) return;
  // Rows wrap differently now: those on screen are measured again, the others when they are seen.
  tiling_->contentMayShrink = true;
  tiling_->widthChanged = true;
}

void UITableView::layoutSubviews() {
  UIScrollView::layoutSubviews();
  tiling_->tiled = false;
  tile();
}

void UITableView::didScroll() {
  UIScrollView::didScroll();
  tiling_->tiled = false;
  if (!tiling_->adjusting) tile();
  if (const auto delegate = this->delegate()) delegate->scrollViewDidScroll(*this);
}

}  // namespace tasklane

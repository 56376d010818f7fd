#include <algorithm>
#include <utility>

#include "uikit/tables/internal/UITableView_tiling.h"

namespace tasklane {

// Selection.

void UITableView::selectRowAtIndexPath(std::optional<NSIndexPath> indexPath, bool animated,
                                       UITableViewScrollPosition scrollPosition) {
  if (indexPath && !(learnCounts(), tiling_->geometry.contains(*indexPath))) return;
  const auto before = std::exchange(selectedRow_, indexPath);
  if (before != indexPath) {
    if (const auto cell = shownCell(before)) cell->setSelected(false, animated);
  }
  if (!indexPath) return;
  if (const auto cell = shownCell(indexPath)) cell->setSelected(true, animated);
  if (scrollPosition != UITableViewScrollPosition::None) {
    scrollToRowAtIndexPath(*indexPath, scrollPosition, animated);
  }
}

void UITableView::deselectRowAtIndexPath(NSIndexPath indexPath, bool animated) {
  if (selectedRow_ != indexPath) return;
  selectedRow_.reset();
  if (const auto cell = shownCell(indexPath)) cell->setSelected(false, animated);
}

void UITableView::userDidPressRow(std::optional<NSIndexPath> indexPath) {
  const auto before = std::exchange(tiling_->pressedRow, indexPath);
  if (before == indexPath) return;
  if (const auto cell = shownCell(before)) cell->setHighlighted(false, true);
  if (const auto cell = shownCell(indexPath)) cell->setHighlighted(true, false);
}

std::optional<NSIndexPath> UITableView::pressedRow() const { return tiling_->pressedRow; }

void UITableView::userDidChooseRow(NSIndexPath indexPath) {
  const auto keepAlive = sharedFrom(this);
  userDidPressRow({});
  if (!countsStillHold()) {
    // The data changed behind the person's back: show it rather than choose another row than the
    // one that was meant.
    reloadData();
    return;
  }
  tiling_->countsAreFresh = false;
  if (!tiling_->geometry.contains(indexPath)) return;
  setFocusedRow(indexPath);
  selectRowAtIndexPath(indexPath, false, UITableViewScrollPosition::None);
  if (const auto delegate = this->delegate()) delegate->didSelectRowAtIndexPath(*this, indexPath);
}

// The keyboard's row.

void UITableView::setFocusedRow(std::optional<NSIndexPath> indexPath) {
  if (indexPath && !(learnCounts(), tiling_->geometry.contains(*indexPath))) return;
  focusedRow_ = indexPath;
  if (indexPath) scrollToRowAtIndexPath(*indexPath, UITableViewScrollPosition::None, false);
  showFocus();
}

void UITableView::showFocus() {
  const bool focused = isFirstResponder();
  for (const auto& [path, cell] : tiling_->cells) {
    cell->setFocused(focused && focusedRow_ == path);
  }
  if (focused && focusedRow_) scrollAroundViewToShow(*this, rectForRowAtIndexPath(*focusedRow_));
  peerNeedsUpdate();
}

bool UITableView::becomeFirstResponder() {
  if (!UIScrollView::becomeFirstResponder()) return false;
  // A row that is out of sight when the keyboard comes must not be chosen by the next Return.
  const auto visible = indexPathsForVisibleRows();
  const bool isSeen = focusedRow_ && std::ranges::find(visible, *focusedRow_) != visible.end();
  if (!isSeen) {
    if (selectedRow_) {
      focusedRow_ = selectedRow_;
    } else if (!visible.empty()) {
      // The first whole row: the topmost may be cut by the edge.
      const bool cut = tiling_->geometry.rowTop(visible[0]) < contentOffset().y;
      focusedRow_ = visible[cut && visible.size() > 1 ? 1 : 0];
    }
  }
  showFocus();
  return true;
}

bool UITableView::resignFirstResponder() {
  if (!UIScrollView::resignFirstResponder()) return false;
  showFocus();
  return true;
}

bool UITableView::focusFirstRow() {
  learnCounts();
  const auto first = tiling_->geometry.firstRow();
  if (!first) return false;
  focusedRow_ = first;
  if (!becomeFirstResponder()) return false;
  setFocusedRow(first);
  return true;
}

/// Where a key takes the keyboard's row; none where it stays.
std::optional<NSIndexPath> UITableView::rowForKey(Key key) {
  const auto& geometry = tiling_->geometry;
  const NSIndexPath row = *focusedRow_;
  const CGFloat page = std::max<CGFloat>(bounds().size.height - geometry.rowHeight(row), 1);
  switch (key) {
    case Key::Up:
      return geometry.rowBefore(row);
    case Key::Down:
      return geometry.rowAfter(row);
    case Key::Home:
      return geometry.firstRow();
    case Key::End:
      return geometry.lastRow();
    case Key::PageUp: {
      const auto there = geometry.rowNear(std::max<CGFloat>(geometry.rowTop(row) - page, 0));
      return there && *there < row ? there : geometry.rowBefore(row);
    }
    case Key::PageDown: {
      const auto there = geometry.rowNear(geometry.rowTop(row) + page);
      return there && *there > row ? there : geometry.rowAfter(row);
    }
    case Key::Choose:
      break;
  }
  return {};
}

bool UITableView::handleKey(Key key) {
  const auto keepAlive = sharedFrom(this);
  tileIfNeeded();
  learnCounts();
  if (!tiling_->geometry.firstRow()) return false;
  const bool isInSight = focusedRow_ && isMostlyInSight(rectForRowAtIndexPath(*focusedRow_));
  if (key == Key::Choose) {
    if (!focusedRow_) return false;
    // A row that nobody sees is shown before it can be chosen.
    isInSight ? userDidChooseRow(*focusedRow_) : setFocusedRow(focusedRow_);
    return true;
  }
  if (!focusedRow_) {
    const bool fromEnd = key == Key::End || key == Key::Up;
    setFocusedRow(fromEnd ? tiling_->geometry.lastRow() : tiling_->geometry.firstRow());
    return true;
  }
  if (const auto row = rowForKey(key)) {
    setFocusedRow(row);
    return true;
  }
  // Nothing beyond: Up may leave the list, the others stay on the last row.
  if (key == Key::Up && isInSight) return false;
  setFocusedRow(focusedRow_);
  return true;
}

}  // namespace tasklane

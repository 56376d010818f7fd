#include "uikit/tables/internal/TableGeometry.h"

#include <algorithm>
#include <utility>

namespace tasklane::detail {

RowHeights::RowHeights(std::size_t count, CGFloat estimate) : count_(count), estimate_(estimate) {}

CGFloat RowHeights::height(std::size_t row) const {
  const Chunk* chunk = chunks_.empty() ? nullptr : chunks_[row / kChunk].get();
  return estimate_ + (chunk ? chunk->difference[row % kChunk] : 0);
}

void RowHeights::setHeight(std::size_t row, CGFloat height) {
  const CGFloat change = height - this->height(row);
  if (change == 0) return;
  if (chunks_.empty()) {
    chunks_.resize(count_ / kChunk + 1);
    sums_.resize(chunks_.size() + 1);
  }
  auto& chunk = chunks_[row / kChunk];
  if (!chunk) chunk = std::make_unique<Chunk>();
  chunk->difference[row % kChunk] += change;
  for (std::size_t i = row / kChunk + 1; i < sums_.size(); i += i & (~i + 1)) sums_[i] += change;
}

CGFloat RowHeights::differenceBeforeChunk(std::size_t chunk) const {
  CGFloat sum = 0;
  for (std::size_t i = chunk; i > 0 && !sums_.empty(); i -= i & (~i + 1)) sum += sums_[i];
  return sum;
}

CGFloat RowHeights::heightBeforeChunk(std::size_t chunk) const {
  const auto rows = std::min(chunk * kChunk, count_);
  return static_cast<CGFloat>(rows) * estimate_ + differenceBeforeChunk(chunk);
}

CGFloat RowHeights::heightBefore(std::size_t row) const {
  CGFloat sum = static_cast<CGFloat>(row) * estimate_;
  if (chunks_.empty()) return sum;
  sum += differenceBeforeChunk(row / kChunk);
  if (const Chunk* chunk = chunks_[row / kChunk].get()) {
    for (std::size_t i = 0; i < row % kChunk; ++i) sum += chunk->difference[i];
  }
  return sum;
}

std::size_t RowHeights::rowAt(CGFloat distance) const {
  std::size_t low = 0, high = count_ / kChunk;  // the last chunk that begins at or before it
  while (low < high) {
    const std::size_t middle = (low + high + 1) / 2;
    if (heightBeforeChunk(middle) <= distance) {
      low = middle;
    } else {
      high = middle - 1;
    }
  }
  std::size_t row = std::min(low * kChunk, count_ - 1);
  CGFloat bottom = heightBefore(row) + height(row);
  while (row + 1 < count_ && bottom <= distance) bottom += height(++row);
  return row;
}

void TableGeometry::reset(std::vector<Section> sections) {
  for (std::size_t i = 0; i < std::min(sections.size(), sections_.size()); ++i) {
    const bool alike = sections[i].rows.count() == sections_[i].rows.count() &&
                       sections[i].rows.estimate() == sections_[i].rows.estimate();
    if (alike) sections[i].rows = std::move(sections_[i].rows);
  }
  sections_ = std::move(sections);
  topsKnown_ = 0;
}

void TableGeometry::setTop(CGFloat height) {
  top_ = height;
  topsKnown_ = 0;
}

std::size_t TableGeometry::rowCount(std::size_t section) const {
  return section < sections_.size() ? sections_[section].rows.count() : 0;
}

void TableGeometry::updateTops() const {
  tops_.resize(sections_.size() + 1);
  if (topsKnown_ == 0) tops_[0] = top_;
  for (std::size_t i = std::max<std::size_t>(topsKnown_, 1); i < tops_.size(); ++i) {
    const Section& above = sections_[i - 1];
    tops_[i] =
        tops_[i - 1] + above.header + above.rows.heightBefore(above.rows.count()) + above.bottom;
  }
  topsKnown_ = tops_.size();
}

CGFloat TableGeometry::totalHeight() const {
  updateTops();
  return tops_.back();
}

CGFloat TableGeometry::headerTop(std::size_t section) const {
  updateTops();
  return tops_[std::min(section, sections_.size())];
}

CGFloat TableGeometry::headerHeight(std::size_t section) const {
  return section < sections_.size() ? sections_[section].header : 0;
}

void TableGeometry::setHeaderHeight(std::size_t section, CGFloat height) {
  sections_[section].header = height;
  topsKnown_ = std::min(topsKnown_, section + 1);
}

CGFloat TableGeometry::rowTop(NSIndexPath path) const {
  return headerTop(path.section) + headerHeight(path.section) +
         sections_[path.section].rows.heightBefore(path.row);
}

CGFloat TableGeometry::rowHeight(NSIndexPath path) const {
  return sections_[path.section].rows.height(path.row);
}

void TableGeometry::setRowHeight(NSIndexPath path, CGFloat height) {
  sections_[path.section].rows.setHeight(path.row, height);
  topsKnown_ = std::min(topsKnown_, path.section + 1);
}

std::optional<NSIndexPath> TableGeometry::rowNear(CGFloat y) const {
  updateTops();
  const auto next = std::upper_bound(tops_.begin(), tops_.end() - 1, y);
  std::size_t section =
      next == tops_.begin() ? 0 : static_cast<std::size_t>(next - tops_.begin()) - 1;
  if (rowCount(section) > 0) {
    const RowHeights& rows = sections_[section].rows;
    const CGFloat inside = y - tops_[section] - sections_[section].header;
    const NSIndexPath found{section, rows.rowAt(inside)};
    const bool below = inside >= rows.heightBefore(rows.count());
    if (!below) return found;
    return rowAfter(found) ? rowAfter(found) : found;
  }
  for (std::size_t i = section; i < sections_.size(); ++i) {
    if (rowCount(i) > 0) return NSIndexPath{i, 0};
  }
  return lastRow();
}

std::optional<NSIndexPath> TableGeometry::rowAfter(NSIndexPath path) const {
  if (path.row + 1 < rowCount(path.section)) return NSIndexPath{path.section, path.row + 1};
  for (std::size_t i = path.section + 1; i < sections_.size(); ++i) {
    if (rowCount(i) > 0) return NSIndexPath{i, 0};
  }
  return {};
}

std::optional<NSIndexPath> TableGeometry::rowBefore(NSIndexPath path) const {
  if (path.row > 0) return NSIndexPath{path.section, path.row - 1};
  for (std::size_t i = path.section; i-- > 0;) {
    if (rowCount(i) > 0) return NSIndexPath{i, rowCount(i) - 1};
  }
  return {};
}

std::optional<NSIndexPath> TableGeometry::firstRow() const {
  return rowCount(0) > 0 ? NSIndexPath{0, 0} : rowAfter({0, 0});
}

std::optional<NSIndexPath> TableGeometry::lastRow() const {
  return sections_.empty() ? std::nullopt : rowBefore({sections_.size(), 0});
}

}  // namespace tasklane::detail

#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "uikit/base/CGGeometry.h"
#include "uikit/tables/NSIndexPath.h"

namespace tasklane::detail {

/// The heights of a section's rows: an estimate for all, and the true height of those that have
/// been seen. Making one costs the same for any number of rows; reading and changing cost the
/// logarithm of it.
class RowHeights {
 public:
  RowHeights(std::size_t count, CGFloat estimate);

  std::size_t count() const { return count_; }
  CGFloat estimate() const { return estimate_; }
  CGFloat height(std::size_t row) const;
  void setHeight(std::size_t row, CGFloat height);
  /// The height of all rows before this one.
  CGFloat heightBefore(std::size_t row) const;
  /// The row that the distance from the section's first row falls into; the last one beyond the
  /// end. There must be a row.
  std::size_t rowAt(CGFloat distance) const;

 private:
  static constexpr std::size_t kChunk = 128;
  struct Chunk {
    std::array<CGFloat, kChunk> difference{};  ///< from the estimate
  };
  CGFloat differenceBeforeChunk(std::size_t chunk) const;
  CGFloat heightBeforeChunk(std::size_t chunk) const;

  std::size_t count_;
  CGFloat estimate_;
  std::vector<std::unique_ptr<Chunk>> chunks_;  ///< empty until the first row has been seen
  std::vector<CGFloat> sums_;  ///< binary indexed tree over the chunks' differences
};

/// Where everything in a table lies, from the top: the table's header view, then per section its
/// header, its rows and its bottom margin. Coordinates of the table's content.
class TableGeometry {
 public:
  struct Section {
    CGFloat header = 0;
    RowHeights rows;
    CGFloat bottom = 0;
  };

  /// Rows keep the heights that they had where the section has as many rows as before.
  void reset(std::vector<Section> sections);
  void setTop(CGFloat height);
  CGFloat top() const { return top_; }

  std::size_t sectionCount() const { return sections_.size(); }
  std::size_t rowCount(std::size_t section) const;
  bool contains(NSIndexPath path) const { return path.row < rowCount(path.section); }
  CGFloat totalHeight() const;

  CGFloat headerTop(std::size_t section) const;
  CGFloat headerHeight(std::size_t section) const;
  void setHeaderHeight(std::size_t section, CGFloat height);
  CGFloat rowTop(NSIndexPath path) const;
  CGFloat rowHeight(NSIndexPath path) const;
  void setRowHeight(NSIndexPath path, CGFloat height);

  /// The row at a height: the one that covers it, or the next below it, or else the last; none when
  /// there is no row.
  std::optional<NSIndexPath> rowNear(CGFloat y) const;
  std::optional<NSIndexPath> rowAfter(NSIndexPath path) const;
  std::optional<NSIndexPath> rowBefore(NSIndexPath path) const;
  std::optional<NSIndexPath> firstRow() const;
  std::optional<NSIndexPath> lastRow() const;

 private:
  void updateTops() const;

  CGFloat top_ = 0;
  std::vector<Section> sections_;
  mutable std::vector<CGFloat> tops_;  ///< of the sections, and the end of the last
  mutable std::size_t topsKnown_ = 0;  ///< how many of them are right
};

}  // namespace tasklane::detail

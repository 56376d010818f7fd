#include "uikit/tables/internal/TableGeometry.h"

#include <gmock/gmock.h>

#include <random>

namespace tasklane::detail {
namespace {

// Against sums over every row, with sections of sizes around the edges of what is kept together.
TEST(TableGeometryTest, AnswersAsAWalkOverAllRowsWould) {
  std::mt19937 random(7);
  const std::vector<std::size_t> counts{0, 1, 127, 0, 128, 129, 1000, 0};
  TableGeometry geometry;
  std::vector<TableGeometry::Section> sections;
  std::vector<std::vector<CGFloat>> heights;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    sections.push_back({static_cast<CGFloat>(i * 3), RowHeights(counts[i], 44), 5});
    heights.emplace_back(counts[i], 44);
  }
  geometry.reset(std::move(sections));
  geometry.setTop(56);
  for (int round = 0; round < 300; ++round) {
    const std::size_t section = random() % counts.size();
    if (counts[section] > 0) {
      const std::size_t row = random() % counts[section];
      heights[section][row] = static_cast<CGFloat>(random() % 90);
      geometry.setRowHeight({section, row}, heights[section][row]);
    }
    const CGFloat wanted = static_cast<CGFloat>(random() % 70'000) - 100;
    CGFloat y = 56;
    std::optional<NSIndexPath> near, last;
    for (std::size_t s = 0; s < counts.size(); ++s) {
      if (round % 50 == 0) {
        ASSERT_NEAR(geometry.headerTop(s), y, 1e-6);
      }
      y += static_cast<CGFloat>(s * 3);
      for (std::size_t r = 0; r < counts[s]; ++r) {
        if (round % 50 == 0) {
          ASSERT_NEAR(geometry.rowTop({s, r}), y, 1e-6);
        }
        y += heights[s][r];
        last = NSIndexPath{s, r};
        if (!near && y > wanted) near = last;
      }
      y += 5;
    }
    ASSERT_NEAR(geometry.totalHeight(), y, 1e-6);
    ASSERT_EQ(geometry.rowNear(wanted), near ? near : last) << wanted;
  }
}

}  // namespace
}  // namespace tasklane::detail

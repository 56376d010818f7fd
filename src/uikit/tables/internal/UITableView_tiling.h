#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "uikit/tables/UITableView.h"
#include "uikit/tables/internal/TableGeometry.h"

namespace tasklane {

/// What a table has on screen and in store. Cells that wait for reuse stay in the table, hidden.
struct UITableView::Tiling {
  struct Spare {
    std::shared_ptr<UITableViewCell> cell;
    NSIndexPath lastRow;
  };

  detail::TableGeometry geometry;
  std::map<NSIndexPath, std::shared_ptr<UITableViewCell>> cells;
  std::map<std::size_t, std::shared_ptr<UITableViewHeaderFooterView>> headers;
  std::vector<std::shared_ptr<UITableViewHeaderFooterView>> spareHeaders;
  std::vector<std::optional<std::string>> titles;
  bool isStale() const { return !countsKnown || generation != passGeneration; }
  std::unordered_map<std::string, CellClass> classes;
  std::unordered_map<std::string, std::vector<Spare>> spares;
  std::optional<NSIndexPath> pressedRow;
  std::optional<NSIndexPath> firstShown, lastShown;
  std::shared_ptr<UITableViewHeaderFooterView> measuringHeader;
  unsigned generation = 0;        ///< grows whenever what is known of the rows goes or comes
  unsigned passGeneration = 0;    ///< the one that the pass on its way is for
  bool countsKnown = false;       ///< what the data source said last still stands
  bool countsAreFresh = false;    ///< it said so in this pass
  bool tiled = false;             ///< nothing has changed since the last pass
  bool running = false;           ///< a pass is on its way, perhaps inside a callback
  bool adjusting = false;         ///< the table itself moves the content offset
  bool contentMayShrink = false;  ///< the next pass keeps the offset within the content
  bool headersAreStale = false;   ///< a reload has those on screen displayed anew
  bool widthChanged = false;      ///< the rows on screen have to be measured again
};

}  // namespace tasklane

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "common/ShareRequest.h"

namespace tasklane {

/// Many shares in one text, an entry of the queue each: either a JSON object a line, a request or
/// one item of a request (ShareRequest.h), or a list with bullets:
///
///   - a title            also * + • 1. 1)
///     its note           a line that is indented and has no bullet
///     - another title    whose note names the titles that it stands below: "a title › …"
///   - [ ] a title        [x] is done already, and passed over
///
/// Empty lines mean nothing.
struct ShareBatch {
  struct Entry {
    std::size_t line;  ///< from 1
    ShareRequest request;
  };
  struct BadLine {
    std::size_t line;
    std::string fault;
  };
  std::vector<Entry> entries;
  std::vector<BadLine> badLines;
  std::vector<std::size_t> doneLines;

  /// Relative names of files are taken from the folder.
  static ShareBatch fromText(std::string_view text, const std::string& folder);
};

}  // namespace tasklane
